#include <memory>

#include "commands/arguments.h"
#include "nodes/node_argument.h"
#include "nodes/removal.h"

namespace cli {
namespace {

struct Arguments {
    std::vector<std::string> nodes;
    RemovalChoice choice;
};

int run(const Arguments& arguments, Session& session) {
    // All of them are found before the first is deleted.
    std::vector<std::string> markers;
    for (const std::string& argument : arguments.nodes) {
        const auto node = namedNode(argument);
        markers.emplace_back(node->isLinked() ? node->getLinkFilePath()
                                              : node->getMarkerFilePath());
    }
    return removeNodes(markers, arguments.choice, session);
}

}  // namespace

Action remove(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    options.arguments("NODE", arguments->nodes,
                      "what to delete; of a pattern the greatest number alone", true);
    removalFlags(options, arguments->choice);
    return makeAction(arguments, run);
}

}  // namespace cli
