#include <memory>

#include "base/failure.h"
#include "base/presence.h"
#include "base/text.h"
#include "commands/arguments.h"
#include "nodes/description.h"
#include "nodes/node_argument.h"
#include "nodes/node_json.h"
#include "vesta2/discovery.h"
#include "vesta2/file_set.h"

namespace cli {
namespace {

struct Arguments {
    std::string link;
    std::string target;
};

/// The marker file that `argument` is, or that is in the directory it names.
std::string markerAt(const std::string& argument, const std::string& extension) {
    const std::string path = requirePath(argument);
    std::string marker = vesta2::findMarkerFileOrLink(path, vesta2::FileSet(extension), true);
    if (marker.empty() || vesta2::isLink(marker)) {
        throw Failure(exitNotFound, path, "no marker file of this kind of node",
                      "name the '" + extension + "' file in the node's new place");
    }
    return marker;
}

int run(const Arguments& arguments, Session& session) {
    const auto node = namedNode(arguments.link);
    if (!node->isLinked()) {
        throw Failure(exitUsage, node->getPath(), "is not reached through a link file",
                      "name the link file in its group");
    }
    const std::string link = node->getLinkFilePath();
    requireReadable(node);
    if (!node->isMissing() || isThere(node->getMarkerFilePath())) {
        throw Failure(exitNegative, link, "leads to " + std::string(node->getMarkerFilePath()),
                      "which is there: nothing to repair");
    }
    const std::string extension = link.substr(link.rfind('.'));
    const std::string marker =
        markerAt(arguments.target, extension.substr(0, extension.size() - 4));
    if (!node->changeMarkerFilePath(marker.c_str())) {
        throw Failure::fromStatus(vesta2::getStatus(), marker);
    }
    if (node->isLinkStale() || link != node->getLinkFilePath()) {
        throw Failure(exitFailure, link, "could not be rewritten",
                      "see the library's log with -v, and try again");
    }
    return reportNode(session, node, node->getMarkerFilePath());
}

}  // namespace

Action relink(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    options.argument({"LINK", Stands::file}, arguments->link, "the link file whose node has gone");
    options.argument({"MARKER", Stands::file}, arguments->target,
                     "its new place: the directory or marker file");
    return makeAction(arguments, run);
}

}  // namespace cli
