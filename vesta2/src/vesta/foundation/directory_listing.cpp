#include "directory_listing.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "file_checks.h"
#include "file_error.h"

namespace vesta2 {

namespace fs = boost::filesystem;

namespace {

[[noreturn]] void fail(const fs::path& directory) {
    throwFileError("cannot list the directory", directory);
}

DIR* openDirectory(const fs::path& directory) {
    DIR* stream = nullptr;
    do {
        stream = ::opendir(directory.c_str());
    } while (!stream && errno == EINTR);
    return stream;
}

}  // namespace

DirectoryListing::DirectoryListing(fs::path directory)
    : m_directory(std::move(directory)), m_stream(openDirectory(m_directory)) {
    if (!m_stream) {
        fail(m_directory);
    }
}

DirectoryListing::DirectoryListing(fs::path directory, basekit2::descriptor_t descriptor)
    : m_directory(std::move(directory)), m_stream(::fdopendir(descriptor.get())) {
    if (!m_stream) {
        fail(m_directory);
    }
    static_cast<void>(descriptor.release());
}

bool DirectoryListing::next() {
    do {
        errno = 0;
        m_entry = ::readdir(m_stream.get());
        if (!m_entry && errno != 0) {
            fail(m_directory);
        }
    } while (m_entry && (name() == "." || name() == ".."));
    return m_entry != nullptr;
}

std::string DirectoryListing::path() const {
    const std::string& directory = m_directory.native();
    std::string path;
    path.reserve(directory.size() + 1 + name().size());
    path = directory;
    if (!path.empty() && path.back() != '/') {
        path += '/';
    }
    return path.append(name());
}

unsigned char DirectoryListing::lookUp(int flags) const {
    struct stat info {};
    if (::fstatat(descriptor(), m_entry->d_name, &info, flags) == 0) {
        return static_cast<unsigned char>(IFTODT(info.st_mode));
    }
    if (!meansAbsent(errno)) {
        throwFileError("cannot look at", path());
    }
    return DT_UNKNOWN;
}

unsigned char DirectoryListing::kind() const {
    return m_entry->d_type == DT_UNKNOWN ? lookUp(AT_SYMLINK_NOFOLLOW) : m_entry->d_type;
}

unsigned char DirectoryListing::targetKind() const {
    return m_entry->d_type == DT_UNKNOWN || m_entry->d_type == DT_LNK ? lookUp(0) : m_entry->d_type;
}

bool DirectoryListing::concernsEntryAlone(const fs::filesystem_error& error) const {
    struct stat info {};
    return meansAbsent(error.code().value()) ||
           (error.code() == boost::system::errc::permission_denied &&
            ::fstatat(descriptor(), ".", &info, 0) == 0);
}

}  // namespace vesta2
