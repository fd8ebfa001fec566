#pragma once
/// Changes of several nodes, beside other processes that change them.

#include <functional>
#include <string>
#include <vector>

#include "nodes/description.h"
#include "nodes/flags.h"
#include "nodes/members.h"
#include "output/item_report.h"
#include "output/session.h"
#include "vesta2/i_node.h"

namespace cli {

/// What is done to each of several nodes.
struct Treatment {
    /// Whether there is anything to do. Raises `Failure` when it cannot be done. Changes no file.
    std::function<bool(const basekit2::sptr_t<vesta2::INode>& node, const Description& is)> isDue;
    /// Does it, and reports it; may let the node go.
    std::function<void(basekit2::sptr_t<vesta2::INode>& node, ItemReport& report)> apply;
    /// Raises `Failure` for a node that others have claimed.
    void (*requireFree)(const std::string& directory) = requireUnclaimed;
};

/// Treats each node, and prints what it is then. All of them are looked at before the first is
/// treated: whether they are there, readable and free. Each is treated as it is on disk, while the
/// flag `changing` is held, so that several at once lose nothing. Returns the exit code.
int treatNodes(const std::vector<Member>& members, const Treatment& treatment, Session& session);

/// Changes a node in memory. Raises `Failure` for what cannot be; then nothing is saved.
using Change = std::function<void(vesta2::INode& node)>;

/// Changes the properties of each node and saves them, as `treatNodes`. Of the flags of others only
/// those count that go with saving: a collector, for one, would overwrite the change.
int changeNodes(const std::vector<Member>& members, const Change& change, Session& session);

}  // namespace cli
