// Marking results: "finalize" and "invalidate" differ in the mark alone.

#include <memory>

#include "base/failure.h"
#include "base/presence.h"
#include "base/signals.h"
#include "nodes/description.h"
#include "nodes/flags.h"
#include "nodes/node_argument.h"
#include "nodes/node_json.h"
#include "options/options.h"
#include "output/item_report.h"

namespace cli {
namespace {

using ResultHandle = basekit2::sptr_t<vesta2::IResultDirectory>;
/// Marks the result; raises `Failure`.
using Marking = ResultHandle(ResultHandle result);

int markAll(const std::vector<std::string>& arguments, Marking& mark, Session& session) {
    ItemReport report(session, "nodes");
    for (const std::string& argument : arguments) {
        const ResultHandle result = mark(namedResult(argument));
        report.add(result->getPath(), [&] { return nodeJson(result); });
    }
    return report.finish();
}

Action declareMarking(Options& options, Marking& mark) {
    auto nodes = std::make_shared<std::vector<std::string>>();
    options.arguments("NODE", *nodes, "a result, or a pattern for the newest", true);
    return [nodes, &mark](Session& session) { return markAll(*nodes, mark, session); };
}

void requireMarkable(vesta2::INode& result) {
    requirePresent(result);
    requireUnclaimed(result);
}

ResultHandle setFinalized(ResultHandle result) {
    requireMarkable(*result);
    // Whether the mark was made shows in the status alone.
    result->setFinalized(true);
    if (vesta2::getStatus() != vesta2::eOK) {
        throw Failure::fromWriting(vesta2::getStatus(), result->getPath(), result->getPath());
    }
    return result;
}

/// The library also moves an invalid result aside. A failed move is no error here, a missing mark
/// is.
ResultHandle setInvalid(ResultHandle result) {
    if (!result->isValid()) {
        return result;
    }
    requireMarkable(*result);
    // A signal must not interrupt the move.
    const Signals signals;
    const std::string former = result->getPath();
    result->setInvalid();
    const vesta2::error_t status = vesta2::getStatus();
    const std::string path = result->getPath();
    if (path != former && isThere(former)) {
        throw Failure(exitFailure, former,
                      "a part could not be deleted when the invalid result moved to " + path,
                      "see whether you may delete it, and delete the rest with 'vesta2 remove'");
    }
    // The open object reports the mark even when it could not be made.
    result.reset();
    result = namedResult(path);
    if (result->isValid()) {
        throw Failure::fromWriting(status, path, path);
    }
    return result;
}

}  // namespace

Action finalize(Options& options) { return declareMarking(options, setFinalized); }
Action invalidate(Options& options) { return declareMarking(options, setInvalid); }

}  // namespace cli
