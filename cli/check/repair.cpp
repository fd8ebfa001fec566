#include "check/repair.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "base/failure.h"
#include "basekit2/object.h"
#include "nodes/description.h"
#include "vesta2/flag_look.h"
#include "vesta2/flag_manager.h"
#include "vesta2/node.h"

namespace cli {
namespace {

/// A creation or a save takes no second; but a process in a process table of its own looks as if it
/// had ended, and clocks of hosts differ.
constexpr std::time_t settled = 600;

/// Deletes the entry if it is of that type, and nobody can be at work on it.
void removeEntry(const FoundDirectory& directory, const std::string& name, mode_t type, int flags) {
    const basekit2::descriptor_t place = directory.open();
    const std::string path = directory.path() + "/" + name;
    struct stat status {};
    if (::fstatat(place.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        throw Failure::fromErrno(errno, path);
    }
    // Nobody can set this one back, as a copy sets the time of modification.
    if (std::time(nullptr) - status.st_ctime < settled) {
        throw Failure(exitLocked, path, "changed within the last ten minutes",
                      "repair it later: somebody may be at work there");
    }
    if ((status.st_mode & S_IFMT) != type) {
        throw Failure(exitFailure, path, "is no more what was found", "check again");
    }
    if (::unlinkat(place.get(), name.c_str(), flags) != 0) {
        throw Failure::fromErrno(errno, path);
    }
}

}  // namespace

FoundDirectory::FoundDirectory(std::string path) : m_path(std::move(path)) {
    struct stat status {};
    if (::stat(m_path.c_str(), &status) != 0) {
        throw Failure::fromErrno(errno, m_path);
    }
    m_key = {status.st_dev, status.st_ino};
}

basekit2::descriptor_t FoundDirectory::open() const {
    basekit2::descriptor_t directory(
        ::open(m_path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!directory || ::fstat(directory.get(), &status) != 0) {
        throw Failure::fromErrno(errno, m_path);
    }
    if (m_key != std::pair<unsigned long long, unsigned long long>(status.st_dev, status.st_ino)) {
        throw Failure(exitFailure, m_path, "is not the directory any more that was looked at",
                      "check again");
    }
    return directory;
}

void removeEmptyDirectory(const FoundDirectory& parent, const std::string& name) {
    removeEntry(parent, name, S_IFDIR, AT_REMOVEDIR);
}

void removeTemporary(const FoundDirectory& directory, const std::string& name) {
    removeEntry(directory, name, S_IFREG, 0);
}

void clearFlag(const FoundDirectory& directory, const std::string& name) {
    // By its descriptor: whatever comes into the place of the directory keeps its flags.
    const basekit2::descriptor_t place = directory.open();
    vesta2::util::FlagManager manager;
    manager.setDirectory("/proc/self/fd/" + std::to_string(place.get()));
    const vesta2::error_t status = manager.removeFlag(name.c_str(), false, false);
    if (status != vesta2::eOK && status != vesta2::eNotFound) {
        throw Failure::fromStatus(status, directory.path() + "/" + name);
    }
    // Without /proc nothing was found, and nothing done.
    if (vesta2::util::lookAtFlag(directory.path(), name).state() ==
        vesta2::util::flag_state_t::stale) {
        throw Failure(exitFailure, directory.path() + "/" + name, "could not be deleted",
                      "clear it with 'vesta2 flag clear'");
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
