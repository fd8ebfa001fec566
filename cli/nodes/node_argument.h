#pragma once
/// Nodes and groups as arguments name them.

#include <string>

#include "base/failure.h"
#include "basekit2/object.h"
#include "vesta2/i_node.h"
#include "vesta2/i_node_group.h"
#include "vesta2/i_result_directory.h"

namespace cli {

/// The absolute form of `path`. Raises `Failure` for an empty path and for the root directory,
/// which cannot be a node.
std::string requirePath(const std::string& path);

/// The node that `argument` names: see `memberNamed`. Raises `Failure` when there is none. The
/// marker file may be unreadable: see `describe`.
basekit2::sptr_t<vesta2::INode> namedNode(const std::string& argument);

/// Raises `Failure` when all that is left of the node is the link file that led to it.
void requirePresent(vesta2::INode& node);

/// Raises `Failure` when the node is elsewhere than it was found before it was claimed.
void requireSamePlace(vesta2::INode& node, const std::string& directory);

/// As `requirePresent`, of the marker or link file of a node that was found.
basekit2::sptr_t<vesta2::INode> openPresent(const std::string& marker);

/// As `namedNode` and `requirePresent`.
basekit2::sptr_t<vesta2::INode> namedPresentNode(const std::string& argument);

/// The node as what only a result can be. Raises `Failure` for another.
basekit2::sptr_t<vesta2::IResultDirectory>
requireResult(const basekit2::sptr_t<vesta2::INode>& node);
/// As `namedNode` and `namedPresentNode`, for what only a result can do.
basekit2::sptr_t<vesta2::IResultDirectory> namedResult(const std::string& argument);
basekit2::sptr_t<vesta2::IResultDirectory> namedPresentResult(const std::string& argument);

/// Raises `Failure` for a mask that is a path: what it leads to is no node of the group.
void requireMask(const std::string& mask);

/// The group at `argument`: a project, an experiment or any directory.
basekit2::sptr_t<vesta2::INodeGroup> namedGroup(const std::string& argument);
/// Its directory; empty, which is the working directory, when `argument` is empty.
std::string groupPath(const std::string& argument);

}  // namespace cli
