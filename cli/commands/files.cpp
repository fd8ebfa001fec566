#include <memory>

#include "base/failure.h"
#include "commands/arguments.h"
#include "nodes/node_argument.h"
#include "output/item_report.h"

namespace cli {
namespace {

struct Arguments {
    std::string node;
    std::string mask = "*";
};

int run(const Arguments& arguments, Session& session) {
    const auto result = namedResult(arguments.node);
    const auto files = result->getResultFiles(arguments.mask.c_str());
    if (!files) {
        throw Failure(exitPermission, result->getPath(), "cannot be listed",
                      "ask its owner for access");
    }
    session.page();
    ItemReport report(session, "files");
    while (const char* path = files->next()) {
        report.add(path, [&] { return jsonText(path); });
    }
    return report.finish();
}

}  // namespace

Action files(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    resultArgument(options, arguments->node);
    options.optionalArgument("MASK", arguments->mask, "only names that match, such as '*.csv'");
    return makeAction(arguments, run);
}

}  // namespace cli
