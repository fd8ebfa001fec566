#pragma once
/// Copies of nodes in new places, of one or of several.

#include <functional>
#include <string>
#include <vector>

#include "base/signals.h"
#include "nodes/new_place.h"
#include "nodes/selection.h"
#include "output/session.h"
#include "vesta2/i_node.h"

namespace cli {

struct CopyRequest {
    std::string node;
    std::vector<std::string> where;
    /// The new directory; of several nodes the one that they are put into, each by its name.
    std::string destination;
};

/// How a node is copied.
struct Copier {
    std::vector<std::string> exclusions;  ///< names that are left out
    /// Raises `Failure` when it cannot be done. Changes no file.
    std::function<void(const basekit2::sptr_t<vesta2::INode>& node, const NewPlace& place)> require;
    /// Does it, and returns the node in the new place.
    std::function<basekit2::sptr_t<vesta2::INode>(const basekit2::sptr_t<vesta2::INode>& node,
                                                  const NewPlace& place, Signals& signals)>
        make;
    bool takesAway = false;  ///< the node is claimed for that
};

/// Copies what is asked for, and prints the new places. All are checked before the first is made.
/// Returns the exit code.
int copyNodes(const CopyRequest& request, const Copier& copier, Session& session);

}  // namespace cli
