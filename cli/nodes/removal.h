#pragma once
/// Deletion of nodes, after a question.

#include <string>
#include <vector>

#include "nodes/members.h"
#include "output/session.h"

namespace cli {

struct RemovalChoice {
    bool withoutQuestion = false;
    bool dryRun = false;
};

/// Deletes these nodes, and prints the path of each. On a terminal it
/// asks first; elsewhere it refuses without "-y". Stops at the first that cannot be deleted.
/// Returns the exit code.
int removeNodes(const std::vector<Member>& members, const RemovalChoice& choice, Session& session);

}  // namespace cli
