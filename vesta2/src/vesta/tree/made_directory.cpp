#include "made_directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "../foundation/file_checks.h"
#include "../foundation/log.h"
#include "basekit2/bag_io.h"
#include "basekit2/directory_listing.h"
#include "basekit2/file_error.h"
#include "remove_tree.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::descriptor_t;

namespace {

[[noreturn]] void failAsTaken(const fs::path& path) {
    errno = EEXIST;
    basekit2::throw_file_error("is not what was made", path);
}

struct stat statOf(const descriptor_t& file, const fs::path& path) {
    struct stat info {};
    if (::fstat(file.get(), &info) != 0) {
        basekit2::throw_file_error("cannot look at", path);
    }
    return info;
}

/// Who owns what this process makes in `directory`: a file system that is shared or that knows no
/// owners may give it to another user.
uid_t ownerOfNewFiles(const descriptor_t& directory, const fs::path& path) {
    const std::string name = basekit2::make_bag_temporary();
    const descriptor_t file(::openat(directory.get(), name.c_str(),
                                     O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file) {
        basekit2::throw_file_error("cannot write to", path);
    }
    ::unlinkat(directory.get(), name.c_str(), 0);
    return statOf(file, path).st_uid;
}

}  // namespace

MadeDirectory::MadeDirectory(fs::path path, const fs::path& model) : m_path(std::move(path)) {
    try {
        open(model);
    } catch (const fs::filesystem_error& e) {
        // Deletes no more than an empty directory.
        if (e.code() != boost::system::errc::file_exists) {
            ::rmdir(m_path.c_str());
        }
        throw;
    }
}

MadeDirectory::~MadeDirectory() {
    try {
        if (!m_isKept) {
            removeTree(m_path, m_id);
        }
    } catch (const boost::system::system_error& e) {
        // The status tells why it was not wanted.
        logFailure(e);
    } catch (const std::bad_alloc&) {
        // The temporary file in it tells that it is not whole.
    }
}

fs::path MadeDirectory::certainPath() const {
    fs::path path = "/proc/self/fd/" + std::to_string(descriptor());
    return isDirectory(path) ? path : m_path;
}

descriptor_t MadeDirectory::duplicate() const {
    descriptor_t other(::fcntl(m_directory.get(), F_DUPFD_CLOEXEC, 0));
    if (!other) {
        basekit2::throw_file_error("cannot open the directory", m_path);
    }
    return other;
}

void MadeDirectory::open(const fs::path& model) {
    m_directory =
        descriptor_t(::open(m_path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!m_directory) {
        basekit2::throw_file_error("cannot open the directory", m_path);
    }
    requireOwn();
    requireEmpty();
    restrictLike(model);
    // Until then, others may have been able to put something into it.
    requireEmpty();
    noteUnfinished();
}

void MadeDirectory::noteUnfinished() {
    m_unfinished = basekit2::make_bag_temporary();
    const descriptor_t file(::openat(descriptor(), m_unfinished.c_str(),
                                     O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file) {
        basekit2::throw_file_error("cannot write to", m_path);
    }
}

void MadeDirectory::keep() {
    m_isKept = true;
    // A copy is whole with it, too. After a passing failure the second try succeeds.
    if (::unlinkat(descriptor(), m_unfinished.c_str(), 0) != 0) {
        ::unlinkat(descriptor(), m_unfinished.c_str(), 0);
    }
}

void MadeDirectory::requireOwn() {
    const struct stat info = statOf(m_directory, m_path);
    m_id = FileId(info);
    if (info.st_uid != ::geteuid() && info.st_uid != ownerOfNewFiles(m_directory, m_path)) {
        failAsTaken(m_path);
    }
}

void MadeDirectory::requireEmpty() const {
    descriptor_t listed(::openat(descriptor(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!listed) {
        basekit2::throw_file_error("cannot list the directory", m_path);
    }
    if (basekit2::directory_listing_t(m_path, std::move(listed)).next()) {
        failAsTaken(m_path);
    }
}

void MadeDirectory::restrictLike(const fs::path& model) const {
    constexpr mode_t others = S_IRWXG | S_IRWXO;
    constexpr mode_t permissions = S_IRWXU | others;
    struct stat wanted {};
    if (::stat(model.c_str(), &wanted) != 0) {
        basekit2::throw_file_error("cannot look at", model);
    }
    const mode_t present = statOf(m_directory, m_path).st_mode & permissions;
    const mode_t restricted = present & ~(others & ~wanted.st_mode);
    if (restricted != present && ::fchmod(m_directory.get(), restricted) != 0) {
        basekit2::throw_file_error("cannot restrict", m_path);
    }
}

}  // namespace vesta2
