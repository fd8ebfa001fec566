#include "base/presence.h"

#include <sys/stat.h>

#include <cerrno>

#include "base/failure.h"

namespace cli {

bool isThere(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0) {
        return true;
    }
    if (errno == ENOENT || errno == ENOTDIR) {
        return false;
    }
    throw Failure::fromErrno(errno, path);
}

}  // namespace cli
