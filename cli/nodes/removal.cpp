#include "nodes/removal.h"

#include <unistd.h>

#include <iostream>

#include "failure.h"
#include "nodes/description.h"
#include "nodes/flags.h"
#include "nodes/presence.h"
#include "output/text.h"
#include "vesta2/i_node_group.h"
#include "vesta2/node.h"

namespace cli {
namespace {

using NodeHandle = basekit2::sptr_t<vesta2::INode>;

/// Empty when somebody else has deleted the node.
NodeHandle open(const std::string& marker) {
    NodeHandle node = vesta2::Node::lookup(marker, nullptr);
    if (!node && isThere(marker)) {
        throw Failure::fromStatus(vesta2::getStatus(), marker);
    }
    return node;
}

/// What is deleted, for people: with the nodes that go with it.
std::string tell(const NodeHandle& node) {
    const Description description = describe(node);
    std::string line = description.kind + " " + description.path;
    if (description.state == "missing") {
        line += " (the link file alone: it leads nowhere)";
    } else if (const auto group = node->getNodeGroup()) {
        line += " and the " + std::to_string(group->getNodePaths()->getSize()) + " nodes in it";
    }
    return line;
}

void remove(vesta2::INode& node, const Description& description) {
    // It may have been claimed while the user was asked.
    requireUnclaimed(node);
    const std::string link = node.getLinkFilePath();
    if (!node.remove()) {
        throw Failure::fromStatus(vesta2::getStatus(), description.path);
    }
    // What the library could not look at it does not delete.
    const bool isDirectoryLeft = description.state != "missing" && isThere(description.path);
    if (isDirectoryLeft || (!link.empty() && isThere(link))) {
        throw Failure(exitFailure, isDirectoryLeft ? description.path : link,
                      "could not be deleted", "see the library's log with -v, and try again");
    }
}

bool askUser(const std::vector<std::string>& markers) {
    for (const std::string& marker : markers) {
        if (const NodeHandle node = open(marker)) {
            writeMessage(escapeText("will delete the " + tell(node)));
        }
    }
    writeRawMessage("Delete " + std::to_string(markers.size()) + " for good? [y/N]");
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

}  // namespace

void declareRemoval(Options& options, RemovalChoice& choice) {
    options.flag("-y,--yes", choice.withoutQuestion, "do not ask");
    options.flag("--dry-run", choice.dryRun, "print what would be deleted, and delete nothing");
}

int removeNodes(const std::vector<std::string>& markers, const RemovalChoice& choice,
                Session& session) {
    for (const std::string& marker : markers) {
        if (const NodeHandle node = open(marker)) {
            requireUnclaimed(*node);
        }
    }
    const bool asks = !choice.withoutQuestion && !choice.dryRun && !markers.empty();
    if (asks && (::isatty(STDIN_FILENO) == 0 || ::isatty(STDERR_FILENO) == 0)) {
        throw Failure(exitUsage, {}, "nobody can be asked whether to delete",
                      "give -y to delete without a question, or --dry-run to see what");
    }
    if (asks && !askUser(markers)) {
        session.note("nothing deleted");
        return exitNegative;
    }
    Json removed = Json::array();
    for (const std::string& marker : markers) {
        const NodeHandle node = open(marker);
        if (!node) {
            continue;
        }
        const Description description = describe(node);
        if (!choice.dryRun) {
            remove(*node, description);
        }
        if (session.json) {
            removed.push_back(toJson(description));
        } else {
            session.out.writeText(description.state == "missing" ? marker : description.path);
        }
    }
    if (session.json) {
        session.out.writeJson({{"dryRun", choice.dryRun}, {"removed", std::move(removed)}});
    }
    return exitOk;
}

}  // namespace cli
