#pragma once
/// Changes of the properties of nodes, beside other processes that change them.

#include <functional>
#include <vector>

#include "nodes/members.h"
#include "output/session.h"
#include "vesta2/i_node.h"

namespace cli {

/// Changes a node in memory. Raises `Failure` for what cannot be; then nothing is saved.
using Change = std::function<void(vesta2::INode& node)>;

/// Changes each node and saves it, and prints what it is then. All of them are looked at before the
/// first is changed. Each is changed as it is on disk, while the flag `changing` is held, so that
/// several at once lose nothing. Raises `Failure` for a node that is being collected: its collector
/// would overwrite the change. Returns the exit code.
int changeNodes(const std::vector<Member>& members, const Change& change, Session& session);

}  // namespace cli
