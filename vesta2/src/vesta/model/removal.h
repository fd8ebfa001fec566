#pragma once
/// What is being deleted from disk on this thread. Each object counts while it lives.

#include <sys/types.h>

#include <boost/filesystem/path.hpp>
#include <string>
#include <utility>
#include <vector>

namespace vesta2 {

/// A group whose nodes this thread deletes. Links can lead out of a group and upwards: neither the
/// group's directory nor any above it is deleted as one of its nodes.
class GroupBeingEmptied {
public:
    /// Throws `boost::filesystem::filesystem_error` when the directory cannot be looked at.
    explicit GroupBeingEmptied(const boost::filesystem::path& directory);
    ~GroupBeingEmptied();
    GroupBeingEmptied(const GroupBeingEmptied&) = delete;
    GroupBeingEmptied& operator=(const GroupBeingEmptied&) = delete;

    /// Whether a group that is being emptied is `directory` or lies below it. Throws as the
    /// constructor.
    static bool liesIn(const boost::filesystem::path& directory);

private:
    std::vector<std::pair<dev_t, ino_t>> m_directories;  ///< the group's, and all above it
    const GroupBeingEmptied* m_outer;
};

/// A node whose directory is being deleted, perhaps out of its destructor: this thread cannot open
/// it.
class NodeBeingRemoved {
public:
    explicit NodeBeingRemoved(const std::string& markerFilePath);
    ~NodeBeingRemoved();
    NodeBeingRemoved(const NodeBeingRemoved&) = delete;
    NodeBeingRemoved& operator=(const NodeBeingRemoved&) = delete;

    static bool contains(const std::string& markerFilePath);
    /// The directory of the outermost such node that has `place` below it; empty when there is
    /// none.
    static boost::filesystem::path outermostAround(const boost::filesystem::path& place);

private:
    const std::string& m_markerFilePath;
    const NodeBeingRemoved* m_outer;
};

}  // namespace vesta2
