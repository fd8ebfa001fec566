#pragma once

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

private:
    const std::string& m_markerFilePath;
    const NodeBeingRemoved* m_outer;
};

}  // namespace vesta2
