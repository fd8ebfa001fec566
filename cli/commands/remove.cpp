#include <memory>

#include "commands/arguments.h"
#include "nodes/node_argument.h"
#include "nodes/removal.h"

namespace cli {
namespace {

struct Arguments {
    Selector selector;
    RemovalChoice choice;
};

int run(const Arguments& arguments, Session& session) {
    // All of them are found before the first is deleted.
    return removeNodes(selectMembers(arguments.selector, session), arguments.choice, session);
}

}  // namespace

Action remove(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    selectorArguments(options, arguments->selector, "what to delete");
    removalFlags(options, arguments->choice);
    return makeAction(arguments, run);
}

}  // namespace cli
