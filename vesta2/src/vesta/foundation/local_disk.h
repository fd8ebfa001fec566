#pragma once
/// Which file systems only this host changes: what the kernel says of their files is the truth, and
/// needs no server's word.

#include <linux/magic.h>
#include <sys/vfs.h>

#include <string>

namespace vesta2 {

inline bool isLocalDisk(const struct statfs& fileSystem) {
    constexpr long xfsMagic = 0x58465342;
    switch (fileSystem.f_type) {
    case EXT4_SUPER_MAGIC:
    case BTRFS_SUPER_MAGIC:
    case TMPFS_MAGIC:
    case xfsMagic:
        return true;
    default:
        return false;
    }
}

/// Whether other hosts change what is there, too; false when that cannot be told.
inline bool isShared(const std::string& directory) {
    struct statfs fileSystem {};
    return ::statfs(directory.c_str(), &fileSystem) == 0 && !isLocalDisk(fileSystem);
}

}  // namespace vesta2
