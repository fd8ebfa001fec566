#include "commands/commands.h"

namespace cli {

Declaration collect, create, get, list, show, set, tag, note, pin, unpin, diff, files, add, unlink,
    rename, relink, copy, move, duplicate, exportResult, importResult, flag, finalize, invalidate,
    remove, purge, check, doctor;

const std::vector<CommandEntry>& commandTable() {
    static const std::vector<CommandEntry> table{
        {"collect", "run a program and keep what it did as a result", &collect,
         "Makes the next result (r@@@ in the working directory unless told otherwise), runs the "
         "program, samples it and all its descendants, keeps what they did, and finalizes the "
         "result. Kept are the command line, times, outcome, memory and file I/O; the program's "
         "file with its digest, limits, the variables PATH, LD_* and OMP_*; and the revision of "
         "the git work tree it ran in. The name may use {user}, {host}, {app}, {date}, {rank} "
         "and what --var defines.\n"
         "Ends with the program's own code. Signals that are sent to the collector go to the "
         "program, and the result is finished. As long as it is collected the result has the "
         "flag 'collecting'.",
         "vesta2 collect ./solver input.txt\n"
         "mpirun -n 4 vesta2 collect --name 'run-{rank}_@@' --tag O3 ./solver",
         "run", "record start exec"},
        {"create", "make a new node", &create,
         "A pattern takes the next free number. A project may be a directory that is there "
         "already. Of all groups an experiment can be a member of a project only.",
         "vesta2 create project tuning\n"
         "vesta2 create result 'r@@@' --into tuning",
         "", "new make init"},
        {"get", "the result at a path, made or repaired when needed", &get,
         "Opened when it is there, made when it is not; a directory without a marker file gets "
         "one. A pattern always makes a new result. Prints the path.",
         "vesta2 get runs/today\n"
         "dir=$(vesta2 get 'run-{user}_@@')",
         "", "open"},
        {"list", "the nodes of a group", &list,
         "Without GROUP or NODE, of the working directory. A KEY is a fact, such as name, kind, "
         "state, when, age, host, rank, elapsed, cpu, memory, exit, size, tag, note, pinned or "
         "command, or the path of a property, such as variables/user. A state is one of "
         "incomplete, collecting, orphaned (its collector has ended without finishing it), "
         "finalized, invalid, unreadable and missing.\n"
         "An EXPR compares them, as in 'state=finalized and elapsed>2s and not (host=n1 or "
         "exit!=0)', with = != < <= > >= and, for a glob, =~ !~. Names are ordered as people "
         "count: r999 before r1000.",
         "vesta2 list --sort elapsed --reverse --limit 1\n"
         "vesta2 list --where 'state=finalized and tag=O3' --group-by command",
         "ls log", "dir find search query"},
        {"show", "all about nodes", &show,
         "With keys their values alone, one a line; nothing is printed when one is unknown. A "
         "word behind the first NODE is a KEY when that node has it, or when it is a fact as "
         "for 'list', and else a NODE.",
         "vesta2 show r@@@\n"
         "vesta2 show r000 r001 elapsed exitCode",
         "", "info cat status stat"},
        {"set", "change properties of nodes", &set,
         "All of them or none, in one save; several at once wait for each other and lose "
         "nothing. A number stays a number of its kind, and new properties are text. What was "
         "recorded at creation is refused.",
         "vesta2 set r000 compiler=gcc-12\n"
         "vesta2 set --where tag=O3 level=3 --unset draft",
         "", "edit config"},
        {"tag", "put words on nodes, by which they are found again", &tag,
         "Tags are kept in the property user/tags. One has no blank and no comma.",
         "vesta2 tag 'r0*' +O3 -slow\n"
         "vesta2 tag --where 'elapsed>10s' +slow",
         "", "label mark"},
        {"note", "say something of a node", &note,
         "The text takes the place of the one before; an empty one takes it away.",
         "vesta2 note r000 'with the new allocator'\n"
         "vesta2 note r000 ''",
         "", "comment annotate"},
        {"pin", "keep nodes from every purge", &pin,
         "A pinned result is kept by every 'purge', and is none of those that its rules count.",
         "vesta2 pin r007\n"
         "vesta2 pin --where tag=release",
         "", "keep protect"},
        {"unpin", "let them be purged again", &unpin, "What 'pin' did is undone.",
         "vesta2 unpin r007\n"
         "vesta2 unpin --where 'pinned and age>90d'",
         "", "unprotect"},
        {"diff", "compare results", &diff,
         "With the first, or with R. A pattern alone compares its newest result with the one "
         "before it. The code is 0 when nothing that is judged differs, else 1: times, tags and "
         "notes are shown but never judged, measurements are with --tolerance. Of files that "
         "differ, size and the first line that differs are told.",
         "vesta2 diff 'r@@@'\n"
         "vesta2 diff --reference base r000 r001 --tolerance elapsed=5%",
         "", "compare cmp"},
        {"files", "the collected files of a result", &files,
         "A path each, those whose names match MASK.",
         "vesta2 files r000\n"
         "vesta2 files r@@@ '*.csv'"},
        {"add", "take nodes into a project or an experiment", &add,
         "Wherever they are stored: a link file in the group stands for a node that is stored "
         "elsewhere. A node is a member of one group.",
         "vesta2 add runs/r000 --to tuning\n"
         "vesta2 add 'runs/r0*' --to tuning",
         "", "link join"},
        {"unlink", "take nodes out of a group, and leave them as they are", &unlink,
         "The link file is deleted, and nothing of the node. One that lies in the directory of "
         "its group has no link: 'move' puts it elsewhere first.",
         "vesta2 -C tuning unlink r000\n"
         "vesta2 -C tuning unlink --where link",
         "", "leave detach"},
        {"rename", "give a node another name", &rename,
         "Its marker file is renamed and its link follows; its directory keeps its name.",
         "vesta2 rename r000 baseline\n"
         "vesta2 -C tuning rename r@@@ best"},
        {"relink", "point a link at the new place of its node", &relink,
         "For a node that was moved by hand: MARKER is its marker file in the new place, or the "
         "directory that holds it.",
         "vesta2 relink tuning/r000.zentorlink /archive/r000\n"
         "vesta2 check tuning"},
        {"copy", "copy a node; its group then has the copy, too", &copy,
         "DEST must not exist; several nodes go into the directory DEST. The copy is named "
         "after its directory and stays in the project or experiment of the node: a link file "
         "there leads to it.",
         "vesta2 copy r000 backup\n"
         "vesta2 copy r000 /archive/r000 --keep-name",
         "cp"},
        {"move", "put a node elsewhere", &move,
         "DEST must not exist; several nodes go into the directory DEST. The node is named "
         "after its directory and stays in its project or experiment: a link file there leads "
         "to it. The old directory is deleted when all has been copied and is on the disk.",
         "vesta2 move r000 slow\n"
         "vesta2 move r000 /archive/r000",
         "mv"},
        {"duplicate", "make a copy of a node that is apart from it", &duplicate,
         "No link leads to it. DEST is a path, or a pattern that takes the next free number.",
         "vesta2 duplicate r000 trial\n"
         "vesta2 duplicate r000 'r@@@'",
         "", "clone"},
        {"export", "copy a result without the files that nobody else needs", &exportResult,
         "Left out is what matches a GLOB by its name, directories with all in them, and always "
         "flags and temporary files.",
         "vesta2 export r000 /tmp/r000\n"
         "vesta2 export r000 /tmp/r000 --exclude '*.log'"},
        {"import", "find the result of another product", &importResult,
         "By the extension of its marker file. PATH is a directory, a marker file or a pattern. "
         "Nothing is changed or copied.",
         "vesta2 import old/run7 --ext other\n"
         "vesta2 import 'old/run@' --ext other"},
        {"flag", "claim nodes, and see who has claimed them", &flag,
         "A claim lives as long as 'flag set' runs, or the program of 'flag run', however that "
         "ends. A node with a flag of another process is neither changed, moved nor deleted. "
         "'flag clear' deletes a flag whose owner has ended.",
         "vesta2 flag list r000\n"
         "vesta2 flag run r000 reading -- ./analyse r000",
         "", "lock claim"},
        {"finalize", "mark results as complete", &finalize,
         "Prints their paths. What is finalized already stays as it is.",
         "vesta2 finalize r000\n"
         "vesta2 finalize --where 'state=orphaned and sampleCount>1'",
         "", "finish close complete"},
        {"invalidate", "mark results as unusable", &invalidate,
         "For good: an invalid result moves to its path and '-bad', unless that is taken.",
         "vesta2 invalidate r003\n"
         "vesta2 invalidate --where exit=139"},
        {"remove", "delete nodes", &remove,
         "A project or an experiment with all that it holds, linked nodes too, where they are "
         "stored. Of a link that leads nowhere the link file alone is deleted. Asks on a "
         "terminal, and elsewhere wants -y.",
         "vesta2 remove r003\n"
         "vesta2 remove --where state=invalid --dry-run",
         "rm", "delete erase del"},
        {"purge", "delete the results of a group that no rule keeps", &purge,
         "Of those that match the mask (r@@@ unless told otherwise). Of several rules each "
         "keeps what it names. Pinned, claimed and unreadable results are kept, and each is "
         "told with the reason. Asks on a terminal, and elsewhere wants -y.",
         "vesta2 purge . --keep 5 --dry-run\n"
         "vesta2 purge tuning --keep-within 7d --keep-weekly 4 --keep-tag release",
         "", "clean cleanup prune gc"},
        {"check", "what is damaged in a group, and what can be mended", &check,
         "Marker files, links, flags of dead owners, and what was interrupted, in a group or a "
         "node and all that it holds. Changes nothing; --repair mends what can be mended "
         "without losing anything, and tells what is left. The code is 0 when nothing is.",
         "vesta2 check tuning\n"
         "vesta2 check tuning --repair",
         "", "verify fsck repair"},
        {"doctor", "what a file system does, and what is promised there", &doctor,
         "Tries it out with two processes, in a directory of its own that is gone afterwards. "
         "The code is 1 when something that is promised does not hold there.",
         "vesta2 doctor .\n"
         "vesta2 doctor /mnt/shared"},
    };
    return table;
}

}  // namespace cli
