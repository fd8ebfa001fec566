#include <boost/filesystem/path.hpp>
#include <memory>

#include "base/failure.h"
#include "base/text.h"
#include "commands/arguments.h"
#include "nodes/description.h"
#include "nodes/new_result.h"
#include "nodes/node_argument.h"
#include "nodes/node_json.h"
#include "nodes/variables.h"
#include "vesta2/path_completion.h"

namespace cli {
namespace {

struct Arguments {
    NewResult wanted;
    std::vector<std::string> variables;
};

Action createResult(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    arguments->wanted.mayOverwrite = true;
    options.argument({"NAME", Stands::directory}, arguments->wanted.name,
                     "a name, a path or a pattern such as 'r@@@'");
    intoOption(options, arguments->wanted.group);
    literalFlag(options, arguments->wanted.literal);
    options.flag("--overwrite", arguments->wanted.overwrite, "replace a result of that name");
    yesFlag(options, arguments->wanted.withoutQuestion);
    variableOption(options, arguments->variables);
    return [arguments](Session& session) {
        const auto result =
            createNewResult(arguments->wanted, nameVariables(arguments->variables, {}));
        return reportNode(session, result, result->getPath());
    };
}

struct GroupArguments {
    std::string name;
    std::string group;
};

/// Makes a project or an experiment; `make` is the library's own operation.
template <class Make>
Action createGroupNode(Options& options, const Make& make) {
    auto arguments = std::make_shared<GroupArguments>();
    options.argument({"NAME", Stands::directory}, arguments->name, "a name or a path");
    intoOption(options, arguments->group);
    return [arguments, make](Session& session) {
        const std::string group = groupPath(arguments->group);
        requirePath(arguments->name);
        const std::string path = vesta2::completePath(arguments->name, group.c_str()).native();
        const basekit2::sptr_t<vesta2::INode> node =
            make(arguments->name.c_str(), group.empty() ? nullptr : group.c_str(), path);
        if (!node) {
            throw Failure::fromStatus(vesta2::getStatus(), path);
        }
        return reportNode(session, node, node->getPath());
    };
}

Action createProject(Options& options) {
    return createGroupNode(
        options, [](const char* name, const char* group, const std::string& path) {
            // The library would write a second marker file, or replace the first.
            if (vesta2::IProject::probe(path.c_str()) || vesta2::IExperiment::probe(path.c_str()) ||
                vesta2::IResultDirectory::probe(path.c_str())) {
                throw Failure(exitExists, path, "is a node already",
                              "choose another name, or " + seeCommand("show", path));
            }
            return vesta2::IProject::create(name, group, false);
        });
}

Action createExperiment(Options& options) {
    return createGroupNode(options, [](const char* name, const char* group, const std::string&) {
        return vesta2::IExperiment::create(name, group);
    });
}

}  // namespace

Action create(Options& options) {
    options.command("result", "make an empty result and print its path", createResult);
    options.command("experiment", "make an experiment and print its path", createExperiment);
    options.command("project", "make a project, also of a directory that is there", createProject);
    return {};
}

}  // namespace cli
