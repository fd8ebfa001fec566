#include <filesystem>
#include <memory>

#include "base/failure.h"
#include "base/presence.h"
#include "base/text.h"
#include "commands/arguments.h"
#include "nodes/change.h"
#include "nodes/node_json.h"
#include "nodes/properties.h"
#include "vesta2/node.h"
#include "vesta2/property_names.h"

namespace cli {
namespace {

using NodeHandle = basekit2::sptr_t<vesta2::INode>;

bool isReachedByLink(const NodeHandle& node, const Description& description) {
    if (node->isLinked()) {
        return true;
    }
    if (!vesta2::Node::isParentKnown(node)) {
        throw Failure(exitFailure, description.path, "its group could not be looked at",
                      "see the library's log with -v, and try again");
    }
    if (node->getParent()) {
        throw Failure(exitUsage, description.path, "lies in the directory of its group",
                      "put it elsewhere with 'vesta2 move', and unlink it then");
    }
    throw Failure(exitUsage, description.path, "is in no group",
                  "see what is in one with 'vesta2 list'");
}

/// The link goes first: as long as it is there, a look at the group writes its name into the marker
/// file.
void leaveGroup(NodeHandle& node, ItemReport& report) {
    const std::string link = node->getLinkFilePath();
    const std::string place = std::filesystem::path(node->getPath()).parent_path().native();
    const bool hasLeft = node->setParent(place.c_str());
    const vesta2::error_t status = vesta2::getStatus();
    if (!hasLeft) {
        throw Failure::fromStatus(status, link);
    }
    if (isThere(link)) {
        throw Failure::fromWriting(status, link,
                                   std::filesystem::path(link).parent_path().native());
    }
    // The marker file may name the link in another group, where the node stays.
    const basekit2::variant_t named = getProperty(*node, vesta2::property::backlink);
    if (named.as_string() && *named.as_string() == link) {
        putProperty(*node, vesta2::property::backlink, {});
        saveProperties(*node);
    }
    reportItem(report, node);
}

int run(const Selector& selector, Session& session) {
    return treatNodes(selectMembers(selector, session), {isReachedByLink, leaveGroup}, session);
}

}  // namespace

Action unlink(Options& options) {
    auto selector = std::make_shared<Selector>();
    selectorArguments(options, *selector, "what to take out of its group");
    return makeAction(selector, run);
}

}  // namespace cli
