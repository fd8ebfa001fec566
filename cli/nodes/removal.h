#pragma once
/// Deleting nodes, with a question first.

#include <string>
#include <vector>

#include "output/session.h"

namespace cli {

struct RemovalChoice {
    bool withoutQuestion = false;
    bool dryRun = false;
};

/// Deletes the nodes of these marker or link files, and prints the path of each. On a terminal it
/// asks first; elsewhere it refuses without "-y". One that cannot be deleted ends it. Returns the
/// exit code.
int removeNodes(const std::vector<std::string>& markers, const RemovalChoice& choice,
                Session& session);

}  // namespace cli
