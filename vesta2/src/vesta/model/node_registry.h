#pragma once
/// The group at a path, as the registry knows it: the parent that a node there gets.

#include <string>

#include "../discovery/directory_memory.h"
#include "basekit2/object.h"
#include "vesta2/i_node.h"

namespace vesta2 {

/// What a look at a place tells of the group there.
struct GroupLook {
    bool isDirectory = false;
    /// The marker or link file that makes the place a project or experiment; empty for none.
    std::string marker;
    /// The node of the marker. Empty, although there is a marker, while that node is being made or
    /// removed on this thread.
    basekit2::sptr_t<INode> node;
};

/// Throws `boost::filesystem::filesystem_error` when it cannot be known whether there is a group.
GroupLook lookAtGroup(const std::string& path, Knowledge knowledge);

}  // namespace vesta2
