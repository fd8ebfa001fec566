#pragma once
/// The link file of a node in a group elsewhere. Known to the sources of `Node` alone; who calls
/// holds the registry's lock.

#include <string>

#include "node_state.h"

namespace vesta2 {

/// Takes over a link file after the marker file was read, which has the better checksum.
void adoptLink(NodeState& node, const std::string& path);

/// Takes over the link file that the marker names, unless that leads to another node: then this one
/// is a copy of it. False when that cannot be known now.
bool followBackLink(NodeState& node);

/// Whether the node of a marker file that has another name than the link says could be the one that
/// the link stands for. What has come into the directory of a node that was deleted is another: the
/// group would have it as a member, and delete it with its own.
bool mayBeLinkedBy(const std::string& marker, const std::string& link);

/// Brings the link file in line with the node's parent and marker file. False, with the status and
/// the link file that was, when that fails.
bool updateLinkFile(NodeState& node);

/// The directory that holds the node's link file is no group any more. A node that names the link
/// itself may come back with its group, so the file stays.
void leaveGroupThatIsNone(NodeState& node);

}  // namespace vesta2
