#include <memory>

#include "failure.h"
#include "nodes/description.h"
#include "nodes/new_result.h"
#include "nodes/variables.h"
#include "options.h"

namespace cli {
namespace {

struct Arguments {
    NewResult wanted;
    std::vector<std::string> variables;
};

Action createResult(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    options.argument("NAME", arguments->wanted.name, "a name, a path or a pattern such as 'r@@@'");
    options.option("--into", "DIR", arguments->wanted.group, "the group to make it in");
    options.flag("--literal", arguments->wanted.literal, "take '@' in the name as it stands");
    options.flag("--overwrite", arguments->wanted.overwrite, "replace a result of that name");
    options.option("--var", "K=V", arguments->variables, "define {K} for the name");
    return [arguments](Session& session) {
        const auto result =
            createNewResult(arguments->wanted, nameVariables(arguments->variables, {}));
        if (session.json) {
            session.out.writeJson({{"result", toJson(describe(result))}});
        } else {
            session.out.writeText(result->getPath());
        }
        return int{exitOk};
    };
}

}  // namespace

Action create(Options& options) {
    options.command("result", "make an empty result and print its path", createResult);
    return {};
}

}  // namespace cli
