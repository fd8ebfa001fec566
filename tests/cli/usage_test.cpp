#include "cli_test.h"

namespace {

using testing::MatchesRegex;
using testing::StartsWith;
using UsageTest = CliTest;

TEST_F(UsageTest, WrongUseGivesOneLineAndItsCode) {
    output("create result r1");
    output("create project p");
    output("create experiment e --into p");
    write("empty/file", "text");
    // What was asked, the code, and what the one line must hold.
    for (const auto& [words, code, told] : Rows<Words, int, Text>{
             {"", 2, "a command is missing"},
             {"lits", 2, "did you mean 'list'?"},
             {"delete r1 --help", 2, "did you mean 'remove'?"},
             {"show --key", 2, "the value of --key is missing"},
             {"list --json=3", 2, "--json takes no value"},
             {"list -r --reverse=no", 2, "--reverse takes no value"},
             {"ls --limit 1 --limit 2", 2, "--limit was given more than once"},
             {"create", 2, "vesta2 create --help"},
             {"create resutl x", 2, "did you mean 'result'?"},
             {"list --limt 3", 2, "did you mean '--limit'?"},
             {"--mask x list", 2, "behind the command"},
             {"relink a b c", 2, "one argument too many: c"},
             {"list --format xml", 2, "'vesta2 list --help'"},
             {"list --limit 0", 2, "--limit"},
             {"list --sort name,", 2, "--sort name,elapsed"},
             {"list none", 3, "/none: no such"},
             {"list empty/file", 3, "/empty/file: neither a marker"},
             {"-C none list", 3, "none: no such"},
             {"show", 2, "which nodes are meant"},
             {"show -", 2, "empty"},
             {"show /", 2, "/: the root directory"},
             {"list /usr/..", 2, "/: the root directory"},
             {"create result //", 2, "/: the root directory"},
             {"show none", 3, "vesta2 list"},
             {"show none/below", 3, "/none: no such"},
             {"show empty", 3, "/empty: a directory, but no result"},
             {"show empty/file", 3, "/empty/file: neither a marker"},
             {"show r@@b@@", 2, "more than one group"},
             {"show @@@@@@@@@", 2, "more than 8"},
             {"show r1 nokey", 3, "no property nokey"},
             {"set r1", 2, "KEY=VALUE, or --unset KEY"},
             {"diff r1 none", 3, "/none"},
             {"diff empty r1", 3, "/empty"},
             {"create result a:b", 2, "reserved character"},
             {"create result a.", 2, "ends with a dot"},
             {"create result r@@@ --overwrite", 2, "--overwrite"},
             {"create result {x} --var x=a/b", 2, "variable"},
             {"create result x --var nothing", 2, "NAME=VALUE"},
             {"create result {x}{user --var x=a:b", 2, "reserved character"},
             {"create result {app}", 2, "known are {user}, {host}, {date}, {rank};"},
             {"get {}", 2, "there is no variable {}"},
             {"collect --name {x}_@@ -- true", 2, "{app}"},
             {"create result x --into none", 3, "/none: no such"},
             {"create result empty/file/x", 3, "/empty/file/x"},
             {"copy none x", 3, "/none: no such"},
             {"copy r1 empty", 4, "/empty/r1"},
             {"move r1 empty/file", 4, "another name"},
             {"export r1 none/x", 3, "/none: no such directory"},
             {"copy r1 empty/file/x", 3, "/file: not a directory"},
             {"move r1 r1/x", 2, "in the node itself"},
             {"duplicate r1 a:b", 2, "reserved character"},
             {"move r1 a:b", 2, "/a:b: the name has a reserved character"},
             {"unlink r1", 2, "/r1: is in no group"},
             {"unlink p/e", 2, "/p/e: lies in the directory of its group"},
             {"unlink p/e none", 3, "/none: no such"},
             {"import r1 --ext other", 3, "'*.other'"},
             {"import r1 --ext *", 2, "no extension"},
             {"flag set r1 ..", 2, "name of a flag"},
             {"flag run r1 a/b -- true", 2, "name of a flag"},
             {"flag run r1 a", 2, "the program to run is missing"},
             {"collect --name x --", 2, "the program to run is missing"},
             {"collect --capure ls --capture", 2, "did you mean '--capture'?"},
             {"collect --name r1 ls", 4, "choose another name or a pattern such as 'r@@@'\n"},
             {"collect --into r1 ls", 2, "/r1: is a result, and no group"},
             {"collect --name " + std::string(249, 'n') + " ls", 2, "at most 248"},
             {"collect --tag a,b ls", 2, "a,b is no tag"},
             {"collect --tag a --tag - ls", 2, "'' is no tag"},
             {"collect --tag=+x ls", 2, "+x is no tag"},
             {"collect -q -x ls", 2, "unknown option -x"},
             {"collect --interval 0 -- true", 2, "--interval"},
             {"create project p", 4, "is a node already"},
             {"create experiment e --into p", 4, "is there already"},
             {"add p --to p", 2, "a project is never part of a group"},
             {"add p/e --to p/e", 2, "an experiment goes into a project only"},
             {"add r1 --to empty", 2, "a plain directory"},
             {"add r1 --to r1", 2, "/r1: a result, which holds no nodes; name a project"},
             {"add r1", 2, "--to"},
             {"rename r1 a/b", 2, "reserved character"},
             {"relink r1 p", 2, "not reached through a link"},
             {"files p", 2, "no result"},
             {"list --limit 0x1", 2, "--limit"},
             {"finalize p", 2, "result"},
             {"remove r1 --where stat!=valid -y", 2, "did you mean 'state'?"},
             {"purge . --keep-within 7", 2, "7 has no unit; write it as in --keep-within 7d"},
             {"purge r1 --keep 1", 2, "/r1: is a result, and no group"},
             {"tag p --where name=x +y", 3, "the nodes in it are 'p/*'"},
             {"purge / --keep 1 -y", 2, "root directory"}}) {
        EXPECT_THAT(run(words),
                    FieldsAre(code, "", AllOf(HasSubstr(told), MatchesRegex("vesta2: [^\n]*\n"))))
            << testing::PrintToString(words);
        EXPECT_EQ(error(words)["code"], code) << testing::PrintToString(words);
    }
    EXPECT_FALSE(exists("r000")) << "nothing was made";
}

TEST_F(UsageTest, LostOutputIsNoSuccess) {
    output("create result r1");
    for (const char* words :
         {"list", "show r1", "--json list", "--help", "collect -q --capture -- echo x"}) {
        EXPECT_THAT(
            inShell(std::string("$0 ") + words + " >/dev/full"),
            FieldsAre(7, "", AllOf(HasSubstr("standard output"), HasSubstr("no space left"))));
    }
}

TEST_F(UsageTest, LongOutputIsForAPager) {
    script("pager", "sed 's/^/P:/'");
    script("slow", "trap '' INT; echo up; read line </dev/tty; sed 's/^/P:/'");
    for (int i = 0; i < 30; ++i) {
        output("create result r@@@");
        write("d" + std::to_string(i) + "/broken.zentor", "x");
    }
    const Words pager("PAGER=./pager");
    for (const auto& [words, environment, isPaged, code] :
         Rows<Words, Words, bool, int>{{"list", pager, true, 0},
                                       {"list", "VESTA2_PAGER=./pager PAGER=false", true, 0},
                                       {"list --help", pager, true, 0},
                                       {"check", pager, true, 1},
                                       {"check d0", pager, false, 1},
                                       {"list --limit 22", pager, false, 0},
                                       {"list", "VESTA2_PAGER= PAGER=./pager", false, 0},
                                       {"list", "PAGER=./none", false, 0},
                                       {"--no-pager list", pager, false, 0},
                                       {"list --help --no-pager", pager, false, 0},
                                       {"--json list", pager, false, 0},
                                       {"finalize r0*", pager, false, 0}}) {
        const auto result = start(words, environment, 80).finish();
        EXPECT_EQ(result.out.find("P:") != std::string::npos, isPaged) << result.out;
        EXPECT_EQ(result.code, code) << result.out;
        if (words[0] == "check") {
            EXPECT_GT(result.out.rfind("vesta2: "), result.out.rfind("/d")) << "the sum is last";
        }
        EXPECT_THAT(result.out, HasSubstr(words[0] == "list" && words.size() == 1 ? "r029" : ""));
    }
    EXPECT_THAT(start("list", pager).finish().out, Not(HasSubstr("P:"))) << "no terminal";
    Command interrupted = start("list", "PAGER=./slow", 80);
    interrupted.awaitOutput("up");
    interrupted.type("\x03\n");
    EXPECT_THAT(interrupted.finish(), FieldsAre(0, HasSubstr("P:r029"), _))
        << "it waits for the pager";
}

TEST_F(UsageTest, OptionsForEveryCommand) {
    EXPECT_THAT(output("--version"), StartsWith("vesta2 "));
    for (const std::string name : {"collect", "create", "get", "list", "show", "set", "diff"}) {
        EXPECT_THAT(output("--help"), HasSubstr("  " + name + " "));
        EXPECT_THAT(output(name + " --help"), HasSubstr("vesta2 " + name));
    }
    std::istringstream help(start("diff --help --no-pager", {}, 60).finish().out);
    for (std::string line; std::getline(help, line);) {
        EXPECT_TRUE(line.size() <= 61 || line.starts_with("  vesta2")) << line;
    }
    output("create result sub/r1");
    EXPECT_EQ(output("-C sub list"), output("list sub --color never"));
    EXPECT_EQ(json("list sub")["schema"], 1);
    EXPECT_EQ(run("create result a:b").err.find("WARN"), std::string::npos);
    const std::string logged = run({"-v", "create", "result", "a:\x1b[31m\n\xc2\x9b"}).err;
    EXPECT_THAT(logged, AllOf(HasSubstr("WARN"), HasSubstr("a:\\x1B[31m\\x0A")));
    EXPECT_THAT(logged, Not(testing::AnyOf(HasSubstr("\x1b"), HasSubstr("\xc2\x9b"))));
}

}  // namespace
