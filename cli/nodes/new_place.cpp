#include "nodes/new_place.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <limits>

#include "base/text.h"
#include "basekit2/bag_io.h"
#include "nodes/node_argument.h"
#include "vesta2/i_result_directory.h"
#include "vesta2/tree_copy.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

constexpr unsigned blockSize = 512;  ///< the unit of `st_blocks`, whatever the file system's is

dev_t deviceOf(const std::string& path) {
    struct stat status {};
    ::stat(path.c_str(), &status);
    return status.st_dev;
}

}  // namespace

NewPlace::NewPlace(const std::string& argument, vesta2::INode& node,
                   const std::vector<std::string>& exclusions)
    : m_source(node.getPath()),
      m_path(requirePath(argument)),
      m_parent(fs::path(m_path).parent_path().native()) {
    requireNew();
    requireUsableParent();
    requireReadable(exclusions);
    // On the same file system a copy may share the blocks, and then it needs no space.
    if (deviceOf(m_source) != deviceOf(m_parent) && m_storedBytes > freeBytes()) {
        throw noSpace();
    }
}

void NewPlace::requireNew() const {
    struct stat status {};
    if (::lstat(m_path.c_str(), &status) != 0) {
        return;
    }
    const std::string inside = (fs::path(m_path) / fs::path(m_source).filename()).native();
    const bool mayHold =
        fs::is_directory(m_path) && !vesta2::IResultDirectory::probe(m_path.c_str());
    throw Failure(exitExists, m_path, "is there already",
                  mayHold ? "to put it in there, name " + shellQuote(inside)
                          : "choose another name");
}

void NewPlace::requireUsableParent() const {
    struct stat status {};
    if (::stat(m_parent.c_str(), &status) != 0) {
        throw Failure(exitNotFound, m_parent, "no such directory", "make it first");
    }
    if (!S_ISDIR(status.st_mode)) {
        throw Failure::fromErrno(ENOTDIR, m_parent);
    }
    const std::string inner = fs::canonical(m_parent).native() + "/";
    if (inner.rfind(fs::canonical(m_source).native() + "/", 0) == 0) {
        throw Failure(exitUsage, m_path, "lies in the node itself", "choose a place outside of it");
    }
    if (::access(m_parent.c_str(), W_OK | X_OK) != 0) {
        throw Failure::fromErrno(errno, m_parent);
    }
}

void NewPlace::requireReadable(const std::vector<std::string>& exclusions) {
    std::error_code failed;
    for (auto entry = fs::recursive_directory_iterator(m_source, failed);
         entry != fs::recursive_directory_iterator(); entry.increment(failed)) {
        const std::string path = entry->path().native();
        const std::string name = entry->path().filename().native();
        const bool isDirectory = entry->is_directory() && !entry->is_symlink();
        const bool isCopied =
            (isDirectory || entry->symlink_status().type() == fs::file_type::regular) &&
            !basekit2::is_bag_temporary(name) && !vesta2::skipOnExport(name, exclusions);
        if (!isCopied) {
            entry.disable_recursion_pending();
            continue;
        }
        struct stat status {};
        const bool isReadable = ::access(path.c_str(), isDirectory ? R_OK | X_OK : R_OK) == 0 &&
                                ::lstat(path.c_str(), &status) == 0;
        if (!isReadable && errno == ENAMETOOLONG) {
            return;  // the library works on descriptors, and has no limit of length
        }
        if (!isReadable) {
            throw Failure::fromErrno(errno, path);
        }
        m_storedBytes += static_cast<std::uint64_t>(status.st_blocks) * blockSize;
    }
}

std::uint64_t NewPlace::freeBytes() const {
    struct statvfs info {};
    if (::statvfs(m_parent.c_str(), &info) != 0 || info.f_blocks == 0) {
        return std::numeric_limits<std::uint64_t>::max();  // unknown
    }
    const std::uint64_t blocks = ::geteuid() == 0 ? info.f_bfree : info.f_bavail;
    return blocks * info.f_frsize;
}

Failure NewPlace::noSpace() const {
    return {exitFailure, m_path,
            "no space left: " + shortSize(m_storedBytes) + " needed, " + shortSize(freeBytes()) +
                " free",
            "free some space or choose another place"};
}

Failure NewPlace::failure(vesta2::error_t status) const {
    if (m_storedBytes > freeBytes()) {
        return noSpace();
    }
    Failure cause = Failure::fromWriting(status, m_path, m_parent);
    if (cause.code() == exitUsage || cause.code() == exitExists) {
        return cause;  // about the new name
    }
    return {cause.code(), m_path, m_source + " could not be copied in full: " + cause.problem(),
            "nothing was kept; " + cause.remedy()};
}

Failure NewPlace::cancelled() const {
    return {exitCancelled, m_path, "cancelled", "what had been copied was deleted"};
}

}  // namespace cli
