#include "commands/commands.h"

namespace cli {

Declaration collect, create, get, list, show, set, diff;

const std::vector<CommandEntry>& commandTable() {
    static const std::vector<CommandEntry> table{
        {"collect", "run a program and keep what it did as a result", &collect},
        {"create", "make a new node", &create},
        {"get", "the result at a path, made or repaired when needed", &get},
        {"list", "the nodes of a group", &list},
        {"show", "all about a node", &show},
        {"set", "change properties of a node", &set},
        {"diff", "compare two results", &diff},
    };
    return table;
}

}  // namespace cli
