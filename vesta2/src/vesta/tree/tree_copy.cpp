#include "vesta2/tree_copy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "../discovery/directory_listing.h"
#include "../foundation/failure.h"
#include "basekit2/descriptor.h"
#include "basekit2/files.h"
#include "file_copier.h"
#include "tree_error.h"
#include "vesta2/names.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::descriptor_t;

namespace {

/// Works on descriptors, so that no name on the way is looked up twice and none leads out of either
/// tree.
class TreeCopier {
public:
    TreeCopier(const std::vector<std::string>& patterns, notify2::IProgress* progress)
        : m_patterns(patterns), m_progress(progress), m_files(progress) {}

    bool copy(const fs::path& source, const fs::path& destination) {
        return copyLevel(AT_FDCWD, AT_FDCWD, source.c_str(), destination.c_str(), source,
                         destination);
    }

private:
    /// One directory: a step that fails in it ends it, and leaves its parent to go on.
    bool copyLevel(int sourceParent, int targetParent, const char* sourceName,
                   const char* targetName, const fs::path& source, const fs::path& destination) {
        if (m_files.isCancelled()) {
            return false;
        }
        try {
            constexpr int flags = O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC;
            // What the caller names may be a symbolic link; what is found below it is none.
            const int follow = m_isOutermost ? 0 : O_NOFOLLOW;
            descriptor_t from(::openat(sourceParent, sourceName, flags | follow));
            if (!from) {
                throwTreeError("cannot list the directory", source);
            }
            const descriptor_t to(::openat(targetParent, targetName, flags | follow));
            if (!to) {
                throwTreeError("cannot open the directory", destination);
            }
            if (!isToBeEntered(from.get(), to.get(), source)) {
                return false;
            }
            DirectoryListing listing(source, std::move(from));
            return copyEntries(listing, {to.get(), destination});
        } catch (const boost::system::system_error& e) {
            return !VESTA_FAIL_WITH(e);
        }
    }

    /// False for the destination itself, when it lies in the source: its copy would never end.
    bool isToBeEntered(int source, int destination, const fs::path& path) {
        struct stat info {};
        if (::fstat(source, &info) != 0 ||
            (m_isOutermost && ::fstat(destination, &m_destination) != 0)) {
            throwTreeError("cannot look at", path);
        }
        m_isOutermost = false;
        if (info.st_dev == m_destination.st_dev && info.st_ino == m_destination.st_ino) {
            VESTA_LOG_ERROR(eInvalidPath, path.c_str());
            return setStatus(eInvalidPath);
        }
        return true;
    }

    bool copyEntries(DirectoryListing& listing, const OpenPlace& destination) {
        while (listing.next()) {
            if (m_files.isCancelled()) {
                return false;
            }
            if (skipOnExport(std::string(listing.name()), m_patterns)) {
                continue;
            }
            const unsigned char kind = listing.kind();
            if (kind == DT_LNK) {
                continue;
            }
            if (m_files.isCancelled() || !copyEntry(listing, kind, destination) ||
                m_files.isCancelled()) {
                return false;
            }
        }
        return true;
    }

    bool copyEntry(const DirectoryListing& entry, unsigned char kind,
                   const OpenPlace& destination) {
        const std::string name(entry.name());
        if (kind == DT_DIR) {
            return copyDirectory(entry, name, destination);
        }
        if (kind != DT_REG) {
            return true;
        }
        if (m_progress) {
            m_progress->setCurrentItem(entry.path().c_str());
        }
        return m_files.copy({entry.descriptor(), entry.directory()}, destination, name.c_str());
    }

    bool copyDirectory(const DirectoryListing& entry, const std::string& name,
                       const OpenPlace& destination) {
        const fs::path target = destination.path / name;
        struct stat info {};
        if (::fstatat(entry.descriptor(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
            throwTreeError("cannot look at", entry.path());
        }
        // Its owner must be able to fill it, and to delete it again.
        constexpr mode_t permissions = S_IRWXU | S_IRWXG | S_IRWXO;
        const mode_t mode = (info.st_mode & permissions) | S_IRWXU;
        if (::mkdirat(destination.descriptor, name.c_str(), mode) != 0) {
            if (errno == EEXIST && isDirectoryAt(destination.descriptor, name)) {
                return false;
            }
            throwTreeError("cannot make", target);
        }
        return copyLevel(entry.descriptor(), destination.descriptor, name.c_str(), name.c_str(),
                         entry.path(), target);
    }

    static bool isDirectoryAt(int directory, const std::string& name) {
        const int error = errno;
        struct stat info {};
        const bool found = ::fstatat(directory, name.c_str(), &info, 0) == 0;
        errno = error;
        return found && S_ISDIR(info.st_mode);
    }

    const std::vector<std::string>& m_patterns;
    notify2::IProgress* m_progress;
    FileCopier m_files;
    bool m_isOutermost = true;
    struct stat m_destination {};
};

}  // namespace

bool copyDirectoryWithExlusionPattern(fs::path source, fs::path destination,
                                      const std::vector<std::string>& patterns,
                                      notify2::IProgress* progress) {
    return TreeCopier(patterns, progress).copy(source, destination);
}

bool copyWithExcludingFlags(fs::path source, fs::path destination) {
    return copyDirectoryWithExlusionPattern(std::move(source), std::move(destination),
                                            flagFilePatterns(), nullptr);
}

bool skipOnExport(const std::string& fileName, const std::vector<std::string>& patterns) {
    const basekit2::path_t name(fileName);
    return std::any_of(patterns.begin(), patterns.end(),
                       [&](const std::string& pattern) { return name.match(pattern); });
}

bool removeFiles(const basekit2::path_t& directory, const std::string& suffix) {
    try {
        for (const basekit2::path_t& file : basekit2::find_files(directory, "*" + suffix, true)) {
            if (!basekit2::remove_file(file)) {
                throwTreeError("cannot delete", file.text());
            }
        }
        return true;
    } catch (const boost::system::system_error& e) {
        return VESTA_FAIL_WITH(e);
    }
}

}  // namespace vesta2
