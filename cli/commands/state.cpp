// Marking results: "finalize" and "invalidate" differ in the mark alone.

#include <memory>

#include "base/failure.h"
#include "base/presence.h"
#include "base/signals.h"
#include "commands/arguments.h"
#include "nodes/change.h"
#include "nodes/node_argument.h"
#include "nodes/node_json.h"

namespace cli {
namespace {

using NodeHandle = basekit2::sptr_t<vesta2::INode>;

/// Neither mark can be put on a result that is invalid for good.
void requireValid(const NodeHandle& node, const Description& description) {
    requireResult(node);
    if (description.state == "invalid") {
        throw Failure(exitNegative, description.path, "is invalid already",
                      "nothing was changed; run its program again with 'vesta2 collect'");
    }
}

bool canBeFinalized(const NodeHandle& node, const Description& description) {
    requireValid(node, description);
    return description.state != "finalized";
}

bool canBeInvalidated(const NodeHandle& node, const Description& description) {
    requireValid(node, description);
    return true;
}

void setFinalized(NodeHandle& node, ItemReport& report) {
    // Whether the mark was made shows in the status alone.
    requireResult(node)->setFinalized(true);
    if (vesta2::getStatus() != vesta2::eOK) {
        throw Failure::fromWriting(vesta2::getStatus(), node->getPath(), node->getPath());
    }
    reportItem(report, node);
}

/// The library also moves an invalid result aside. A failed move is no error here, a missing mark
/// is.
void setInvalid(NodeHandle& node, ItemReport& report) {
    // A signal must not interrupt the move.
    const Signals signals;
    const std::string former = node->getPath();
    requireResult(node)->setInvalid();
    const vesta2::error_t status = vesta2::getStatus();
    const std::string path = node->getPath();
    if (path != former && isThere(former)) {
        throw Failure(exitFailure, former,
                      "a part could not be deleted when the invalid result moved to " + path,
                      "see whether you may delete it, and delete the rest with 'vesta2 remove'");
    }
    // The open object reports the mark even when it could not be made.
    node.reset();
    const auto result = namedResult(path);
    if (result->isValid()) {
        throw Failure::fromWriting(status, path, path);
    }
    reportItem(report, result);
}

int runFinalize(const Selector& selector, Session& session) {
    return treatNodes(selectMembers(selector, session), {canBeFinalized, setFinalized}, session);
}

int runInvalidate(const Selector& selector, Session& session) {
    return treatNodes(selectMembers(selector, session), {canBeInvalidated, setInvalid}, session);
}

Action declareMarking(Options& options, int (&run)(const Selector&, Session&)) {
    auto selector = std::make_shared<Selector>();
    selectorArguments(options, *selector, "which results");
    return makeAction(selector, run);
}

}  // namespace

Action finalize(Options& options) { return declareMarking(options, runFinalize); }
Action invalidate(Options& options) { return declareMarking(options, runInvalidate); }

}  // namespace cli
