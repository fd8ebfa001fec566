// "duplicate" and "export": an independent copy of a node.

#include <filesystem>
#include <memory>

#include "base/signals.h"
#include "commands/arguments.h"
#include "nodes/description.h"
#include "nodes/new_place.h"
#include "nodes/node_argument.h"
#include "nodes/node_json.h"
#include "vesta2/names.h"

namespace cli {
namespace {

struct Arguments {
    std::string node;
    std::string destination;
    std::vector<std::string> exclusions;
};

/// Reports the copy, or deletes it after a failure.
int finish(const basekit2::sptr_t<vesta2::INode>& made, const NewPlace& place, Signals& signals,
           Session& session) {
    const vesta2::error_t status = vesta2::getStatus();
    const bool isCancelled = signals.wantsEnd();
    if (made && (isCancelled || status != vesta2::eOK)) {
        // Not `remove` of the node: that also deletes what a group links to.
        std::filesystem::remove_all(made->getPath());
    }
    if (isCancelled) {
        throw place.cancelled();
    }
    if (!made || status != vesta2::eOK) {
        throw place.failure(status);
    }
    return reportNode(session, made, made->getPath());
}

int runDuplicate(const Arguments& arguments, Session& session) {
    Signals signals;
    const auto node = namedPresentNode(arguments.node);
    const NewPlace place(arguments.destination, *node, vesta2::flagFilePatterns());
    return finish(node->duplicate(place.path().c_str()), place, signals, session);
}

int runExport(const Arguments& arguments, Session& session) {
    Signals signals;
    const auto result = namedPresentResult(arguments.node);
    std::vector<std::string> patterns = vesta2::flagFilePatterns();
    patterns.insert(patterns.end(), arguments.exclusions.begin(), arguments.exclusions.end());
    std::string lines;
    for (const std::string& pattern : patterns) {
        lines.append(pattern).append("\n");
    }
    const NewPlace place(arguments.destination, *result, patterns);
    return finish(result->exportTo(place.path().c_str(), lines.c_str()), place, signals, session);
}

}  // namespace

Action duplicate(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    nodeArgument(options, arguments->node);
    destinationArgument(options, arguments->destination);
    return makeAction(arguments, runDuplicate);
}

Action exportResult(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    resultArgument(options, arguments->node);
    destinationArgument(options, arguments->destination);
    options.option("--exclude", "GLOB", arguments->exclusions,
                   "leave out files and directories of such names, as in '*.csv'");
    return makeAction(arguments, runExport);
}

}  // namespace cli
