// Marking results: "finalize" and "invalidate" differ in the mark alone.

#include <memory>

#include "collector/signals.h"
#include "failure.h"
#include "nodes/description.h"
#include "nodes/flags.h"
#include "nodes/node_argument.h"
#include "options.h"

namespace cli {
namespace {

using ResultHandle = basekit2::sptr_t<vesta2::IResultDirectory>;
/// Marks the result; raises `Failure`.
using Mark = ResultHandle(ResultHandle result);

void markAll(const std::vector<std::string>& arguments, Mark& mark, Session& session) {
    Json marked = Json::array();
    for (const std::string& argument : arguments) {
        const ResultHandle result = mark(openResult(argument));
        if (session.json) {
            marked.push_back(toJson(describe(result)));
        } else {
            session.out.writeText(result->getPath());
        }
    }
    if (session.json) {
        session.out.writeJson({{"results", std::move(marked)}});
    }
}

Action declareMark(Options& options, Mark& mark) {
    auto nodes = std::make_shared<std::vector<std::string>>();
    options.arguments("NODE", *nodes, "a result, or a pattern for the newest", true);
    return [nodes, &mark](Session& session) {
        markAll(*nodes, mark, session);
        return int{exitOk};
    };
}

ResultHandle setFinalized(ResultHandle result) {
    requirePresent(*result);
    requireUnclaimed(*result);
    // The library tells by the status alone whether the mark was made.
    result->setFinalized(true);
    if (vesta2::getStatus() != vesta2::eOK) {
        throw Failure::fromWriting(vesta2::getStatus(), result->getPath(), result->getPath());
    }
    return result;
}

/// An invalid result also goes to a place beside its own, but the mark is what counts.
ResultHandle setInvalid(ResultHandle result) {
    if (!result->isValid()) {
        return result;
    }
    requirePresent(*result);
    requireUnclaimed(*result);
    // A half-moved result would be left by a signal.
    const Signals signals;
    result->setInvalid();
    const vesta2::error_t status = vesta2::getStatus();
    const std::string path = result->getPath();
    // The object takes itself for marked even when that failed.
    result.reset();
    result = openResult(path);
    if (result->isValid()) {
        throw Failure::fromWriting(status, path, path);
    }
    return result;
}

}  // namespace

Action finalize(Options& options) { return declareMark(options, setFinalized); }
Action invalidate(Options& options) { return declareMark(options, setInvalid); }

}  // namespace cli
