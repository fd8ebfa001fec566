#pragma once

#include <sys/stat.h>

#include <boost/filesystem/path.hpp>

#include "../foundation/local_disk.h"

namespace vesta2 {

/// What tells a file or directory from all others as long as it exists, whatever path leads to it.
struct FileId {
    dev_t device = 0;
    ino_t inode = 0;

    FileId() = default;
    explicit FileId(const struct stat& info) : device(info.st_dev), inode(info.st_ino) {}
    bool operator==(const FileId&) const = default;
    bool operator<(const FileId& other) const {
        return device != other.device ? device < other.device : inode < other.inode;
    }

    [[nodiscard]] bool isKnown() const { return inode != 0; }
};

/// A directory by its path, and which one that was.
struct KnownDirectory {
    boost::filesystem::path path;
    FileId id{};  ///< not known: whatever is there
};

/// Whether an open directory is another than the one that `id` was taken of, or may be for all that
/// can be told. Where other hosts change the file system, too, a directory may get another number.
inline bool isAnother(int directory, const FileId& id) {
    struct stat info {};
    struct statfs fileSystem {};
    if (!id.isKnown() || (::fstat(directory, &info) == 0 && FileId(info) == id)) {
        return false;
    }
    return ::fstatfs(directory, &fileSystem) != 0 || isLocalDisk(fileSystem);
}

}  // namespace vesta2
