#include <filesystem>
#include <memory>

#include "base/failure.h"
#include "base/presence.h"
#include "base/text.h"
#include "commands/arguments.h"
#include "nodes/description.h"
#include "nodes/flags.h"
#include "nodes/members.h"
#include "nodes/node_argument.h"
#include "nodes/node_json.h"

namespace cli {
namespace {

struct Arguments {
    std::string node;
    std::string name;
};

/// The library reports success even when looking at the group failed.
void requireLinkFollowed(vesta2::INode& node, const std::string& former) {
    const std::string link = node.getLinkFilePath();
    if (link.empty() || link == former || isThere(former) || !isThere(link)) {
        throw Failure(exitFailure, former,
                      "the node is named anew, but its link could not be changed",
                      seeCommand("show", node.getPath()));
    }
}

/// In what holds the node, or its link, the name would stand for both.
void requireFreeName(vesta2::INode& node, const std::string& name) {
    const std::string link = node.getLinkFilePath();
    for (const std::string& path : {std::string(node.getPath()), link}) {
        const std::string around = std::filesystem::path(path).parent_path().native();
        if (around.empty()) {
            continue;
        }
        for (const Member& member : ListedDirectory(around).matching(name)) {
            if (member.marker != node.getMarkerFilePath() && member.marker != link) {
                throw Failure(exitExists, member.marker, "has the name " + shellQuote(name),
                              "choose another name");
            }
        }
    }
}

/// Of the node, which is not kept open: what is read before the claim may be out of date.
std::string freeDirectory(const std::string& argument) {
    const auto node = namedPresentNode(argument);
    requireReadable(node);
    requireUnclaimed(*node);
    return node->getPath();
}

int run(const Arguments& arguments, Session& session) {
    // The library takes them for names, as patterns do.
    if (arguments.name == "." || arguments.name == "..") {
        throw Failure(exitUsage, arguments.name, "is no name", "give a plain name without '/'");
    }
    if (namingOf(arguments.name) != Naming::one) {
        throw Failure(exitUsage, arguments.name, "is a pattern, which no command would find by it",
                      "give a plain name without '@', '*', '?' and '['");
    }
    const std::string directory = freeDirectory(arguments.node);
    // Two concurrent renames would each write a marker file.
    const auto claim = claimForChange(directory);
    requireUnclaimed(directory);
    requireNotLeaving(directory);
    const auto node = namedPresentNode(arguments.node);
    requireSamePlace(*node, directory);
    requireReadable(node);
    requireFreeName(*node, arguments.name);
    const std::string former = node->getLinkFilePath();
    const std::string oldMarker = node->getMarkerFilePath();
    if (!node->changeUserVisibleName(arguments.name.c_str())) {
        const vesta2::error_t status = vesta2::getStatus();
        throw status == vesta2::eAlreadyExists
            ? Failure(exitExists, node->getPath(),
                      "its directory or its group has another " + shellQuote(arguments.name),
                      "choose another name")
            : Failure::fromStatus(status, arguments.name);
    }
    if (!former.empty() && oldMarker != node->getMarkerFilePath()) {
        requireLinkFollowed(*node, former);
    }
    return reportNode(session, node, node->getMarkerFilePath());
}

}  // namespace

Action rename(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    nodeArgument(options, arguments->node);
    options.argument("NAME", arguments->name, "what it is to be called; its directory stays");
    return makeAction(arguments, run);
}

}  // namespace cli
