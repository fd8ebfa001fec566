#include "commands/commands.h"

namespace cli {

Declaration collect, create, get, list, show, set, tag, note, pin, unpin, diff, files, add, unlink,
    rename, relink, copy, move, duplicate, exportResult, importResult, flag, finalize, invalidate,
    remove, purge, check, doctor;

const std::vector<CommandEntry>& commandTable() {
    static const std::vector<CommandEntry> table{
        {"collect", "run a program and keep what it did as a result", &collect,
         "vesta2 collect ./solver input.txt\n"
         "mpirun -n 4 vesta2 collect --name 'run-{rank}_@@' --tag O3 ./solver",
         "run", "record start exec"},
        {"create", "make a new node", &create,
         "vesta2 create project tuning\n"
         "vesta2 create result 'r@@@' --into tuning",
         "", "new make init"},
        {"get", "the result at a path, made or repaired when needed", &get,
         "vesta2 get runs/today\n"
         "dir=$(vesta2 get 'run-{user}_@@')",
         "", "open"},
        {"list", "the nodes of a group", &list,
         "vesta2 list --sort elapsed --reverse --limit 1\n"
         "vesta2 list --where 'state=finalized and tag=O3' --group-by command",
         "ls log", "dir find search query"},
        {"show", "all about nodes", &show,
         "vesta2 show r@@@\n"
         "vesta2 show r000 r001 elapsed exitCode",
         "", "info cat status stat"},
        {"set", "change properties of nodes", &set,
         "vesta2 set r000 compiler=gcc-12\n"
         "vesta2 set --where tag=O3 level=3 --unset draft",
         "", "edit config"},
        {"tag", "put words on nodes, by which they are found again", &tag,
         "vesta2 tag 'r0*' +O3 -slow\n"
         "vesta2 tag --where 'elapsed>10s' +slow",
         "", "label mark"},
        {"note", "say something of a node", &note,
         "vesta2 note r000 'with the new allocator'\n"
         "vesta2 note r000 ''",
         "", "comment annotate"},
        {"pin", "keep nodes from every purge", &pin,
         "vesta2 pin r007\n"
         "vesta2 pin --where tag=release",
         "", "keep protect"},
        {"unpin", "let them be purged again", &unpin,
         "vesta2 unpin r007\n"
         "vesta2 unpin --where 'pinned and age>90d'",
         "", "unprotect"},
        {"diff", "compare results", &diff,
         "vesta2 diff 'r@@@'\n"
         "vesta2 diff --reference base r000 r001 --tolerance elapsed=5%",
         "", "compare cmp"},
        {"files", "the collected files of a result", &files,
         "vesta2 files r000\n"
         "vesta2 files r@@@ '*.csv'"},
        {"add", "take nodes into a project or an experiment", &add,
         "vesta2 add runs/r000 --to tuning\n"
         "vesta2 add 'runs/r0*' --to tuning",
         "", "link join"},
        {"unlink", "take nodes out of a group, and leave them as they are", &unlink,
         "vesta2 -C tuning unlink r000\n"
         "vesta2 -C tuning unlink --where link",
         "", "leave detach"},
        {"rename", "give a node another name", &rename,
         "vesta2 rename r000 baseline\n"
         "vesta2 -C tuning rename r@@@ best"},
        {"relink", "point a link at the new place of its node", &relink,
         "vesta2 relink tuning/r000.zentorlink /archive/r000\n"
         "vesta2 check tuning"},
        {"copy", "copy a node; its group then has the copy, too", &copy,
         "vesta2 copy r000 backup\n"
         "vesta2 copy r000 /archive/r000 --keep-name",
         "cp"},
        {"move", "put a node elsewhere", &move,
         "vesta2 move r000 slow\n"
         "vesta2 move r000 /archive/r000",
         "mv"},
        {"duplicate", "make a copy of a node that is apart from it", &duplicate,
         "vesta2 duplicate r000 trial\n"
         "vesta2 duplicate r000 'r@@@'",
         "", "clone"},
        {"export", "copy a result without the files that nobody else needs", &exportResult,
         "vesta2 export r000 /tmp/r000\n"
         "vesta2 export r000 /tmp/r000 --exclude '*.log'"},
        {"import", "find the result of another product", &importResult,
         "vesta2 import old/run7 --ext other\n"
         "vesta2 import 'old/run@' --ext other"},
        {"flag", "claim nodes, and see who has claimed them", &flag,
         "vesta2 flag list r000\n"
         "vesta2 flag run r000 reading -- ./analyse r000",
         "", "lock claim"},
        {"finalize", "mark results as complete", &finalize,
         "vesta2 finalize r000\n"
         "vesta2 finalize --where 'state=orphaned and sampleCount>1'",
         "", "finish close complete"},
        {"invalidate", "mark results as unusable", &invalidate,
         "vesta2 invalidate r003\n"
         "vesta2 invalidate --where exit=139"},
        {"remove", "delete nodes", &remove,
         "vesta2 remove r003\n"
         "vesta2 remove --where state=invalid --dry-run",
         "rm", "delete erase del"},
        {"purge", "delete the results of a group that no rule keeps", &purge,
         "vesta2 purge . --keep 5 --dry-run\n"
         "vesta2 purge tuning --keep-within 7d --keep-weekly 4 --keep-tag release",
         "", "clean cleanup prune gc"},
        {"check", "what is damaged in a group, and what can be mended", &check,
         "vesta2 check tuning\n"
         "vesta2 check tuning --repair",
         "", "verify fsck repair"},
        {"doctor", "what a file system does, and what is promised there", &doctor,
         "vesta2 doctor .\n"
         "vesta2 doctor /mnt/shared"},
    };
    return table;
}

}  // namespace cli
