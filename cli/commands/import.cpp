#include <memory>

#include "base/failure.h"
#include "base/text.h"
#include "commands/arguments.h"
#include "nodes/description.h"
#include "nodes/members.h"
#include "nodes/node_argument.h"
#include "nodes/node_json.h"
#include "vesta2/names.h"
#include "vesta2/result_directory_manager.h"

namespace cli {
namespace {

struct Arguments {
    std::string path;
    std::string extension;
};

int run(const Arguments& arguments, Session& session) {
    const std::string path = requirePath(arguments.path);
    const std::string extension =
        arguments.extension.substr(arguments.extension.rfind('.', 0) == 0 ? 1 : 0);
    if (vesta2::validateFileName(extension.c_str()) != vesta2::eOK) {
        throw Failure(exitUsage, {},
                      "--ext " + shellQuote(arguments.extension) + " is no extension",
                      "give what follows the last dot in the name of its marker file");
    }
    const auto result =
        vesta2::ResultDirectoryManager::openForImport(path.c_str(), extension.c_str());
    if (!result) {
        const vesta2::error_t status = vesta2::getStatus();
        if (status != vesta2::eOK && status != vesta2::eNotFound) {
            throw searchFailure(status, path);
        }
        throw Failure(exitNotFound, path, "no result with a marker file '*." + extension + "'",
                      "check the path and --ext");
    }
    return reportNode(session, result, result->getPath());
}

}  // namespace

Action importResult(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    options.argument({"PATH", Stands::file}, arguments->path,
                     "a directory, marker file or pattern");
    options.requiredOption("--ext", "EXT", arguments->extension, "extension of its marker file");
    return makeAction(arguments, run);
}

}  // namespace cli
