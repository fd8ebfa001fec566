#include "check/repair.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "base/failure.h"
#include "basekit2/object.h"
#include "nodes/description.h"
#include "vesta2/flag_manager.h"
#include "vesta2/node.h"

namespace cli {
namespace {

/// A creation or a save takes no second; but a process in a process table of its own looks as if it
/// had ended, and clocks of hosts differ.
constexpr std::time_t settled = 600;

void requireSettled(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        throw Failure::fromErrno(errno, path);
    }
    if (std::time(nullptr) - status.st_mtime < settled) {
        throw Failure(exitLocked, path, "changed within the last ten minutes",
                      "repair it later: somebody may be at work there");
    }
}

}  // namespace

void removeEmptyDirectory(const std::string& directory) {
    requireSettled(directory);
    if (::rmdir(directory.c_str()) != 0 && errno != ENOENT) {
        throw Failure::fromErrno(errno, directory);
    }
}

void removeTemporary(const std::string& path) {
    requireSettled(path);
    if (::unlink(path.c_str()) != 0 && errno != ENOENT) {
        throw Failure::fromErrno(errno, path);
    }
}

void clearFlag(const std::string& directory, const std::string& name) {
    vesta2::util::FlagManager manager;
    manager.setDirectory(directory);
    const vesta2::error_t status = manager.removeFlag(name.c_str(), false, false);
    if (status != vesta2::eOK && status != vesta2::eNotFound) {
        throw Failure::fromStatus(status, directory + "/" + name);
    }
}

void renewLink(const std::string& path, const std::string& group) {
    const auto node = vesta2::Node::lookup(path, group.c_str());
    if (!node) {
        throw Failure::fromStatus(vesta2::getStatus(), path);
    }
    if (node->isLinkStale() || !vesta2::Node::isParentKnown(node)) {
        throw Failure(exitFailure, path, "could not be rewritten",
                      "see the library's log with -v, and try again");
    }
}

}  // namespace cli
