#include <memory>

#include "base/failure.h"
#include "commands/arguments.h"
#include "nodes/members.h"
#include "nodes/node_argument.h"
#include "nodes/removal.h"
#include "vesta2/result_directory_manager.h"

namespace cli {
namespace {

struct Arguments {
    std::string group;
    std::string mask;
    int keep = -1;
    RemovalChoice choice;
};

int run(const Arguments& arguments, Session& session) {
    requireMask(arguments.mask);
    const auto group = namedGroup(arguments.group);
    if (arguments.keep < 0) {
        throw Failure(exitUsage, group->getPath(), "how many to keep is missing",
                      "give --keep N, and --dry-run to see what would go");
    }
    if (arguments.keep == 0 && arguments.mask.empty()) {
        throw Failure(exitUsage, group->getPath(), "this would delete all of it",
                      "say which with --mask, such as --mask 'r@@@'");
    }
    const std::string mask = arguments.mask.empty()
                                 ? vesta2::ResultDirectoryManager::getDefaultResultDirectoryName()
                                 : arguments.mask;
    // The newest are the last.
    std::vector<Member> members = matching(membersOf(group->getPath()), mask);
    const auto keep = static_cast<std::size_t>(arguments.keep);
    members.resize(members.size() > keep ? members.size() - keep : 0);
    return removeNodes(members, arguments.choice, session);
}

}  // namespace

Action purge(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    options.argument("GROUP", arguments->group, "a project, an experiment or a directory");
    options.option("--keep", "N", arguments->keep, 0, 1000000000, "how many of the last to keep");
    options.option("--mask", "M", arguments->mask, "of what matches this; else of 'r@@@'");
    removalFlags(options, arguments->choice);
    return makeAction(arguments, run);
}

}  // namespace cli
