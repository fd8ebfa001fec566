#include "nodes/removal.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>

#include "base/failure.h"
#include "base/presence.h"
#include "base/text.h"
#include "nodes/description.h"
#include "nodes/flags.h"
#include "nodes/node_json.h"
#include "nodes/selection.h"
#include "output/item_report.h"
#include "vesta2/discovery.h"
#include "vesta2/i_node_group.h"
#include "vesta2/node.h"

namespace cli {
namespace {

using NodeHandle = basekit2::sptr_t<vesta2::INode>;

/// What is deleted, for people: with the nodes that go with it.
std::string deletionText(const NodeHandle& node) {
    std::string line = kindOf(node) + " " + node->getPath();
    if (isMissing(node)) {
        line += " (the link file alone: it leads nowhere)";
    } else if (const auto group = node->getNodeGroup()) {
        line += " and the " + std::to_string(group->getNodePaths()->getSize()) + " nodes in it";
    }
    return line;
}

/// Of a node that is stored here only the directory is looked at.
void requireUnclaimedAt(const std::string& marker) {
    if (!vesta2::isLink(marker)) {
        requireUnclaimed(std::filesystem::path(marker).parent_path().native());
    } else if (const NodeHandle node = openMember(marker)) {
        requireUnclaimed(*node);
    }
}

}  // namespace

bool askForRemoval(const std::vector<Member>& members) {
    if (::isatty(STDIN_FILENO) == 0 || ::isatty(STDERR_FILENO) == 0) {
        throw Failure(exitUsage, members.front().marker,
                      "is not deleted: nobody can be asked whether to",
                      "give -y to delete without a question");
    }
    for (const auto& [marker, name] : members) {
        if (const NodeHandle node = openMember(marker)) {
            writeMessage(escapeText("will delete the " + deletionText(node)));
        }
    }
    const std::size_t count = members.size();
    writeRawMessage((count == 1 ? "Delete it" : "Delete these " + std::to_string(count)) +
                    " for good? [y/N]");
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

void removeNode(const basekit2::sptr_t<vesta2::INode>& handle) {
    vesta2::INode& node = *handle;
    const bool wasThere = !isMissing(handle);
    const std::string directory = node.getPath();
    // It may have been claimed while the user was asked.
    const auto claim = wasThere ? claimForRemoval(directory) : nullptr;
    if (wasThere && !vesta2::Node::isParentKnown(handle)) {
        throw Failure(exitFailure, directory,
                      "it could not be looked at whether a group has a link to it",
                      "nothing was deleted; check the disk and whether you may read its group");
    }
    const std::string link = node.getLinkFilePath();
    if (!node.remove()) {
        throw Failure::fromStatus(vesta2::getStatus(), directory);
    }
    // The library keeps what it failed to look at, and still reports success.
    const bool isDirectoryLeft = wasThere && isThere(directory);
    if (isDirectoryLeft || (!link.empty() && isThere(link))) {
        throw Failure(exitFailure, isDirectoryLeft ? directory : link, "could not be deleted",
                      "see the library's log with -v, and try again");
    }
}

bool mayDelete(const std::vector<Member>& members, const RemovalChoice& choice, Session& session) {
    const bool asks = !choice.withoutQuestion && !choice.dryRun && !members.empty();
    if (asks && !askForRemoval(members)) {
        session.note("nothing deleted");
        return false;
    }
    return true;
}

int removeNodes(const std::vector<Member>& members, const RemovalChoice& choice, Session& session) {
    if (!choice.dryRun) {
        std::ranges::for_each(members, requireUnclaimedAt, &Member::marker);
    }
    ItemReport report(session, "nodes", {{"dryRun", choice.dryRun}});
    if (!mayDelete(members, choice, session)) {
        report.finish();
        return exitNegative;
    }
    for (const auto& [marker, name] : members) {
        const NodeHandle node = openMember(marker);
        if (!node) {
            continue;
        }
        const std::string path = isMissing(node) ? marker : node->getPath();
        Json item = session.json ? nodeJson(node) : Json();
        if (!choice.dryRun) {
            removeNode(node);
        }
        report.add(path, [&] { return std::move(item); });
    }
    return report.finish();
}

}  // namespace cli
