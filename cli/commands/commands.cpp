#include "commands/commands.h"

namespace cli {

Declaration collect, create, get, list, show, set, tag, note, pin, unpin, diff, files, add, rename,
    relink, copy, move, duplicate, exportResult, importResult, flag, finalize, invalidate, remove,
    purge, check, doctor;

const std::vector<CommandEntry>& commandTable() {
    static const std::vector<CommandEntry> table{
        {"collect", "run a program and keep what it did as a result", &collect},
        {"create", "make a new node", &create},
        {"get", "the result at a path, made or repaired when needed", &get},
        {"list", "the nodes of a group", &list},
        {"show", "all about a node", &show},
        {"set", "change properties of nodes", &set},
        {"tag", "put words on nodes, by which they are found again", &tag},
        {"note", "say something of a node", &note},
        {"pin", "keep nodes from every purge", &pin},
        {"unpin", "let them be purged again", &unpin},
        {"diff", "compare two results", &diff},
        {"files", "the collected files of a result", &files},
        {"add", "take nodes into a project or an experiment", &add},
        {"rename", "give a node another name", &rename},
        {"relink", "point a link at the new place of its node", &relink},
        {"copy", "copy a node; its group then has the copy, too", &copy},
        {"move", "put a node elsewhere", &move},
        {"duplicate", "make a copy of a node that is apart from it", &duplicate},
        {"export", "copy a result without the files that nobody else needs", &exportResult},
        {"import", "find the result of another product", &importResult},
        {"flag", "claim nodes, and see who has claimed them", &flag},
        {"finalize", "mark results as complete", &finalize},
        {"invalidate", "mark results as unusable", &invalidate},
        {"remove", "delete nodes", &remove},
        {"purge", "delete the results of a group that no rule keeps", &purge},
        {"check", "what is damaged in a group, and what can be mended", &check},
        {"doctor", "what a file system does, and what is promised there", &doctor},
    };
    return table;
}

}  // namespace cli
