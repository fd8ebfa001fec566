// Marking results: "finalize" and "invalidate" differ in the mark alone.

#include <memory>

#include "failure.h"
#include "nodes/description.h"
#include "nodes/node_argument.h"
#include "options.h"

namespace cli {
namespace {

using Mark = void(vesta2::IResultDirectory&);

/// The library tells by the status alone whether the mark was made.
void markAll(const std::vector<std::string>& arguments, Mark& mark, Session& session) {
    Json marked = Json::array();
    for (const std::string& argument : arguments) {
        const auto result = openResult(argument);
        mark(*result);
        if (vesta2::getStatus() != vesta2::eOK) {
            throw Failure::fromStatus(vesta2::getStatus(), result->getPath());
        }
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

void setFinalized(vesta2::IResultDirectory& result) { result.setFinalized(true); }
void setInvalid(vesta2::IResultDirectory& result) { result.setInvalid(); }

}  // namespace

Action finalize(Options& options) { return declareMark(options, setFinalized); }
Action invalidate(Options& options) { return declareMark(options, setInvalid); }

}  // namespace cli
