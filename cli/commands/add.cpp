#include <memory>

#include "base/failure.h"
#include "base/presence.h"
#include "base/text.h"
#include "commands/arguments.h"
#include "nodes/change.h"
#include "nodes/node_argument.h"
#include "nodes/node_json.h"

namespace cli {
namespace {

using NodeHandle = basekit2::sptr_t<vesta2::INode>;

struct Arguments {
    Selector selector;
    std::string group;
};

/// The project or experiment at `argument`.
basekit2::sptr_t<vesta2::INodeGroup> groupThatLinks(const std::string& argument) {
    constexpr const char* remedy =
        "name a project or an experiment, or make one with 'vesta2 create project'";
    const std::string path = requirePath(argument);
    if (vesta2::IResultDirectory::probe(path.c_str())) {
        throw Failure(exitUsage, path, "a result, which holds no nodes", remedy);
    }
    auto group = namedGroup(argument);
    if (!group->getNode()) {
        throw Failure(exitUsage, path, "a plain directory, which holds no links", remedy);
    }
    return group;
}

void requireRightKind(const Description& node, const std::string& groupKind) {
    if (node.kind == "project") {
        throw Failure(exitUsage, node.path, "a project is never part of a group",
                      "add what is in it instead");
    }
    if (node.kind == "experiment" && groupKind == "experiment") {
        throw Failure(exitUsage, node.path, "an experiment goes into a project only",
                      "name a project as the group");
    }
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

void takeIn(vesta2::INodeGroup& group, const NodeHandle& node, ItemReport& report) {
    const auto member = group.addNode(node->getMarkerFilePath());
    const vesta2::error_t status = vesta2::getStatus();
    if (!member) {
        throw Failure::fromStatus(status, node->getPath());
    }
    if (status != vesta2::eOK) {
        throw Failure::fromStatus(status, group.getPath());
    }
    requireMember(*member, group);
    report.add(member->isLinked() ? member->getLinkFilePath() : member->getPath(),
               [&] { return nodeJson(member); });
}

int run(const Arguments& arguments, Session& session) {
    const auto group = groupThatLinks(arguments.group);
    const std::string groupKind = kindOf(group->getNode());
    const Treatment treatment{
        [&](const NodeHandle&, const Description& description) {
            requireRightKind(description, groupKind);
            return true;
        },
        [&](NodeHandle& node, ItemReport& report) { takeIn(*group, node, report); }};
    return treatNodes(selectMembers(arguments.selector, session), treatment, session);
}

}  // namespace

Action add(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    selectorArguments(options, arguments->selector, "what to add, wherever it is stored");
    options.requiredOption("--to", {"GROUP", Stands::group}, arguments->group,
                           "the project or experiment");
    return makeAction(arguments, run);
}

}  // namespace cli
