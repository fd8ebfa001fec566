#pragma once

#include <boost/filesystem/path.hpp>
#include <string>

namespace vesta2 {

/// While it lives, this thread cannot open the node of `markerFilePath`, which it is deleting from
/// disk, perhaps out of its destructor.
class NodeBeingRemoved {
public:
    explicit NodeBeingRemoved(const std::string& markerFilePath);
    ~NodeBeingRemoved();
    NodeBeingRemoved(const NodeBeingRemoved&) = delete;
    NodeBeingRemoved& operator=(const NodeBeingRemoved&) = delete;

    static bool contains(const std::string& markerFilePath);
    /// The directory of the outermost node that this thread is removing and that has `place` below
    /// it; empty when there is none.
    static boost::filesystem::path outermostAround(const boost::filesystem::path& place);

private:
    const std::string& m_markerFilePath;
    const NodeBeingRemoved* m_outer;
};

}  // namespace vesta2
