#pragma once
/// Deletion of nodes, after a question.

#include <string>
#include <vector>

#include "nodes/members.h"
#include "output/session.h"
#include "vesta2/i_node.h"

namespace cli {

struct RemovalChoice {
    bool withoutQuestion = false;
    bool dryRun = false;
};

/// Asks on a terminal whether these nodes are to be deleted; elsewhere raises `Failure`, because
/// nobody can be asked.
bool askForRemoval(const std::vector<Member>& members);

/// Whether these nodes may be deleted: asks on a terminal, and raises `Failure` elsewhere without
/// "-y". Nothing is asked when nothing would be deleted.
bool mayDelete(const std::vector<Member>& members, const RemovalChoice& choice, Session& session);

/// Deletes the node; raises `Failure` when it is claimed, or could not be deleted.
void removeNode(const basekit2::sptr_t<vesta2::INode>& node);

/// Deletes these nodes, and prints the path of each. On a terminal it
/// asks first; elsewhere it refuses without "-y". Stops at the first that cannot be deleted.
/// Returns the exit code.
int removeNodes(const std::vector<Member>& members, const RemovalChoice& choice, Session& session);

}  // namespace cli
