#include <memory>

#include "base/failure.h"
#include "base/presence.h"
#include "base/text.h"
#include "commands/arguments.h"
#include "nodes/description.h"
#include "nodes/flags.h"
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

int run(const Arguments& arguments, Session& session) {
    // The library takes them for names, as patterns do.
    if (arguments.name == "." || arguments.name == "..") {
        throw Failure(exitUsage, arguments.name, "is no name", "give a plain name without '/'");
    }
    const auto node = namedPresentNode(arguments.node);
    requireReadable(node);
    requireUnclaimed(*node);
    // Two concurrent renames would each write a marker file.
    const FlagClaim claim = claimForChange(node->getPath());
    requireUnclaimed(*node);
    requirePresent(*node);
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
