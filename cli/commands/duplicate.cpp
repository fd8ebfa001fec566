// "duplicate" and "export": an independent copy of a node.

#include <filesystem>
#include <memory>

#include "base/signals.h"
#include "commands/arguments.h"
#include "nodes/copying.h"
#include "nodes/node_argument.h"
#include "vesta2/names.h"

namespace cli {
namespace {

struct ExportArguments {
    CopyRequest request;
    std::vector<std::string> exclusions;
};

using NodeHandle = basekit2::sptr_t<vesta2::INode>;

/// The copy, which is deleted after a failure.
NodeHandle requireWhole(const NodeHandle& made, const NewPlace& place, Signals& signals) {
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
    return made;
}

int runDuplicate(const CopyRequest& request, Session& session) {
    const Copier copier{vesta2::flagFilePatterns(), [](const NodeHandle&, const NewPlace&) {},
                        [](const NodeHandle& node, const NewPlace& place, Signals& signals) {
                            return requireWhole(node->duplicate(place.path().c_str()), place,
                                                signals);
                        }};
    return copyNodes(request, copier, session);
}

int runExport(const ExportArguments& arguments, Session& session) {
    std::vector<std::string> patterns = vesta2::flagFilePatterns();
    patterns.insert(patterns.end(), arguments.exclusions.begin(), arguments.exclusions.end());
    std::string lines;
    for (const std::string& pattern : patterns) {
        lines.append(pattern).append("\n");
    }
    const Copier copier{
        patterns, [](const NodeHandle& node, const NewPlace&) { requireResult(node); },
        [&](const NodeHandle& node, const NewPlace& place, Signals& signals) {
            const auto result = requireResult(node);
            return requireWhole(result->exportTo(place.path().c_str(), lines.c_str()), place,
                                signals);
        }};
    return copyNodes(arguments.request, copier, session);
}

constexpr const char* destinationHelp =
    "its directory, a pattern such as 'r@@@', or a directory that several go into";

}  // namespace

Action duplicate(Options& options) {
    auto request = std::make_shared<CopyRequest>();
    copyArguments(options, *request, destinationHelp);
    return makeAction(request, runDuplicate);
}

Action exportResult(Options& options) {
    auto arguments = std::make_shared<ExportArguments>();
    copyArguments(options, arguments->request, destinationHelp);
    options.option("--exclude", "GLOB", arguments->exclusions,
                   "leave out files and directories of such names, as in '*.csv'");
    return makeAction(arguments, runExport);
}

}  // namespace cli
