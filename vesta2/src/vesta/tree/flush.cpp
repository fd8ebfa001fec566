#include "flush.h"

#include <fcntl.h>
#include <unistd.h>

#include "basekit2/descriptor.h"
#include "basekit2/file_error.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::descriptor_t;

void flush(int file, const fs::path& path) {
    // Some file systems have nothing to flush for a directory, and say so.
    if (::fsync(file) != 0 && errno != EINVAL) {
        basekit2::throw_file_error("cannot flush", path);
    }
}

void flushDirectory(const fs::path& directory) {
    const descriptor_t open(
        ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC));
    if (open) {
        flush(open.get(), directory);
    } else if (errno != EACCES) {
        basekit2::throw_file_error("cannot flush", directory);
    }
}

void flushFileSystem(int file, const fs::path& path) {
    if (::syncfs(file) != 0) {
        basekit2::throw_file_error("cannot flush the file system of", path);
    }
}

}  // namespace vesta2
