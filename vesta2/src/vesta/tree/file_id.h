#pragma once

#include <sys/stat.h>

namespace vesta2 {

/// What tells a file or directory from all others as long as it exists, whatever path leads to it.
struct FileId {
    dev_t device = 0;
    ino_t inode = 0;

    FileId() = default;
    explicit FileId(const struct stat& info) : device(info.st_dev), inode(info.st_ino) {}
    bool operator==(const FileId&) const = default;
};

}  // namespace vesta2
