#include <memory>

#include "base/failure.h"
#include "base/presence.h"
#include "base/text.h"
#include "commands/arguments.h"
#include "nodes/description.h"
#include "nodes/flags.h"
#include "nodes/node_argument.h"
#include "nodes/node_json.h"
#include "output/item_report.h"

namespace cli {
namespace {

struct Arguments {
    std::vector<std::string> nodes;
    std::string group;
};

Failure refusal(const Description& node, vesta2::INodeGroup& group) {
    if (!group.getNode()) {
        return {exitUsage, group.getPath(), "a plain directory, which holds no links",
                "name a project or an experiment, or make one with 'vesta2 create project'"};
    }
    if (node.kind == "project") {
        return {exitUsage, node.path, "a project is never part of a group",
                "add what is in it instead"};
    }
    if (node.kind == "experiment") {
        return {exitUsage, node.path, "an experiment goes into a project only",
                "name a project as the group"};
    }
    return Failure::fromStatus(vesta2::getStatus(), node.path);
}

/// The library reports success even when looking at the group or at a link failed.
void requireMember(vesta2::INode& member, vesta2::INodeGroup& group) {
    const auto parent = member.getParent();
    const bool isMember = parent && parent.get() == group.getNode().get();
    if (!isMember || (member.isLinked() && !isThere(member.getLinkFilePath()))) {
        throw Failure(exitFailure, group.getPath(),
                      "did not take in " + std::string(member.getPath()),
                      "see the library's log with -v, and try again");
    }
}

int run(const Arguments& arguments, Session& session) {
    const auto group = namedGroup(arguments.group);
    ItemReport report(session, "nodes");
    for (const std::string& argument : arguments.nodes) {
        const auto node = namedPresentNode(argument);
        const Description description = describe(node);
        requireReadable(description);
        // The marker file gets the name of the link.
        const FlagClaim claim = claimForChange(node->getPath());
        const auto member = group->addNode(node->getMarkerFilePath());
        const vesta2::error_t status = vesta2::getStatus();
        if (!member) {
            throw refusal(description, *group);
        }
        if (status != vesta2::eOK) {
            throw Failure::fromStatus(status, group->getPath());
        }
        requireMember(*member, *group);
        report.add(member->isLinked() ? member->getLinkFilePath() : member->getPath(), [&] {
            Json object = nodeJson(member);
            object["linkFile"] = jsonText(member->getLinkFilePath());
            return object;
        });
    }
    return report.finish();
}

}  // namespace

Action add(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    options.arguments("NODE", arguments->nodes, "what to add, wherever it is stored", true);
    options.requiredOption("--to", "GROUP", arguments->group, "the project or experiment");
    return makeAction(arguments, run);
}

}  // namespace cli
