#include <memory>

#include "failure.h"
#include "nodes/node_argument.h"
#include "options.h"

namespace cli {
namespace {

struct Arguments {
    std::string node;
    std::string mask = "*";
};

int run(const Arguments& arguments, Session& session) {
    const auto result = openResult(arguments.node);
    const auto files = result->getResultFiles(arguments.mask.c_str());
    if (!files) {
        throw Failure(exitPermission, result->getPath(), "cannot be listed",
                      "ask its owner for access");
    }
    Json paths = Json::array();
    while (const char* path = files->next()) {
        if (session.json) {
            paths.push_back(jsonText(path));
        } else {
            session.out.writeText(path);
        }
    }
    if (session.json) {
        session.out.writeJson({{"files", std::move(paths)}});
    }
    return exitOk;
}

}  // namespace

Action files(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    options.argument("NODE", arguments->node, "a result, or a pattern");
    options.optionalArgument("MASK", arguments->mask, "only names that match, such as '*.csv'");
    return [arguments](Session& session) { return run(*arguments, session); };
}

}  // namespace cli
