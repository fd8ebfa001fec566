#include <memory>

#include "base/failure.h"
#include "base/text.h"
#include "commands/arguments.h"
#include "nodes/description.h"
#include "nodes/node_argument.h"
#include "nodes/node_json.h"
#include "nodes/variables.h"
#include "vesta2/i_experiment.h"
#include "vesta2/i_project.h"
#include "vesta2/result_directory_manager.h"

namespace cli {
namespace {

using vesta2::ResultDirectoryManager;

struct Arguments {
    std::string path;
    bool literal = false;
    std::vector<std::string> variables;
};

/// A project or experiment must not become a result as well.
void requireNoGroupNode(const std::string& path) {
    if (vesta2::IProject::probe(path.c_str()) || vesta2::IExperiment::probe(path.c_str())) {
        throw Failure(exitExists, path, "is a project or an experiment, no result",
                      "name a result in it, or " + seeCommand("show", path));
    }
}

int run(const Arguments& arguments, Session& session) {
    const std::string path = requirePath(arguments.path);
    requireNoGroupNode(path);
    const vesta2::ResultVariableBag variables = nameVariables(arguments.variables, {});
    requireKnownVariables(path, variables);
    auto result = ResultDirectoryManager::get(path.c_str(), &variables, arguments.literal);
    const vesta2::error_t status = ResultDirectoryManager::getLastError();
    if (!result && vesta2::IResultDirectory::probe(path.c_str())) {
        // A result on read-only media can still be opened.
        result = ResultDirectoryManager::open(path.c_str(), arguments.literal, nullptr);
    }
    if (!result) {
        throw Failure::fromStatus(status, path);
    }
    // Something else may stand where the marker file belongs.
    if (!vesta2::IResultDirectory::probe(path.c_str()) && result->getPath() == path) {
        throw Failure(exitFailure, result->getMarkerFilePath(),
                      "is no marker file, and in its place", "move it away, and try again");
    }
    return reportNode(session, result, result->getPath());
}

}  // namespace

Action get(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    options.argument({"PATH", Stands::node}, arguments->path,
                     "a path; a pattern always makes a new result");
    literalFlag(options, arguments->literal);
    variableOption(options, arguments->variables);
    return makeAction(arguments, run);
}

}  // namespace cli
