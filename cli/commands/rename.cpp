#include <memory>

#include "failure.h"
#include "nodes/description.h"
#include "nodes/node_argument.h"
#include "options.h"

namespace cli {
namespace {

struct Arguments {
    std::string node;
    std::string name;
};

int run(const Arguments& arguments, Session& session) {
    const auto node = openPresentNode(arguments.node);
    if (!node->changeUserVisibleName(arguments.name.c_str())) {
        throw Failure::fromStatus(vesta2::getStatus(), arguments.name);
    }
    return reportNode(session, "node", node, node->getMarkerFilePath());
}

}  // namespace

Action rename(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    options.argument("NODE", arguments->node, "a directory, marker file, link file or pattern");
    options.argument("NAME", arguments->name, "what it is to be called; its directory stays");
    return [arguments](Session& session) { return run(*arguments, session); };
}

}  // namespace cli
