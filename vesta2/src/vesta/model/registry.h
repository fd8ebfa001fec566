#pragma once

#include <string>

namespace vesta2 {

/// While it lives, nothing can open the node of `markerFilePath`, whose object is deleting it from
/// disk as it is destroyed. The caller holds the registry's lock.
class NodeBeingRemoved {
public:
    explicit NodeBeingRemoved(const std::string& markerFilePath);
    ~NodeBeingRemoved();
    NodeBeingRemoved(const NodeBeingRemoved&) = delete;
    NodeBeingRemoved& operator=(const NodeBeingRemoved&) = delete;

    static bool contains(const std::string& markerFilePath);

private:
    const std::string& m_markerFilePath;
};

}  // namespace vesta2
