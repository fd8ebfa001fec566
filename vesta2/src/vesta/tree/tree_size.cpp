#include "vesta2/tree_size.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <string>

#include "../discovery/directory_listing.h"
#include "tree_error.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::descriptor_t;

namespace {

/// Adds up `measure`, which gets a directory's descriptor and a name in it, over the regular files
/// below the directory `name`, up to the first entry that fails in a directory.
template <class Measure>
std::uint64_t sumOverFiles(int parent, const char* name, int follow, const Measure& measure) {
    std::uint64_t sum = 0;
    try {
        descriptor_t directory(
            ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC | follow));
        if (!directory) {
            return sum;
        }
        DirectoryListing listing(name, std::move(directory));
        while (listing.next()) {
            const unsigned char kind = listing.kind();
            // A view of an entry's name ends with a NUL, as the kernel gave it.
            const char* entry = listing.name().data();
            if (kind == DT_DIR) {
                sum += sumOverFiles(listing.descriptor(), entry, O_NOFOLLOW, measure);
            } else if (kind == DT_REG) {
                sum += measure(listing.descriptor(), entry);
            }
        }
    } catch (const fs::filesystem_error&) {
        return sum;
    }
    return sum;
}

std::uint64_t sizeOf(int directory, const char* name) {
    struct stat info {};
    if (::fstatat(directory, name, &info, AT_SYMLINK_NOFOLLOW) != 0) {
        throwTreeError("cannot look at", name);
    }
    return static_cast<std::uint64_t>(info.st_size);
}

std::uint64_t countOne(int /*directory*/, const char* /*name*/) { return 1; }

}  // namespace

std::uint64_t calcDirectoryFilesSize(const fs::path& directory) {
    return sumOverFiles(AT_FDCWD, directory.c_str(), 0, sizeOf);
}

std::uint64_t calcDirectoryFilesCount(const fs::path& directory) {
    return sumOverFiles(AT_FDCWD, directory.c_str(), 0, countOne);
}

}  // namespace vesta2
