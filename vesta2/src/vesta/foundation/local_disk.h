#pragma once
/// Which file systems only this host changes: what the kernel says of their files is the truth, and
/// needs no server's word.

#include <linux/magic.h>
#include <sys/vfs.h>

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

}  // namespace vesta2
