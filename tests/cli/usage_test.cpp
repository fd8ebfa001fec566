#include "cli_test.h"

namespace {

using testing::StartsWith;
using UsageTest = CliTest;

TEST_F(UsageTest, WrongUseGivesOneLineAndItsCode) {
    /// What was asked, the code, and what the one line must hold.
    struct Case {
        Words words;
        int code;
        const char* told;
    };
    output("create result r1");
    output("create project p");
    output("create experiment e --into p");
    write("empty/file", "text");
    for (const auto& [words, code, told] :
         {Case{"", 2, "a command is missing"},
          Case{"lits", 2, "did you mean 'list'?"},
          Case{"create", 2, "vesta2 create --help"},
          Case{"create resutl x", 2, "did you mean 'result'?"},
          Case{"list --limt 3", 2, "did you mean '--limit'?"},
          Case{"--mask x list", 2, "behind the command"},
          Case{"list a b", 2, "one argument too many: b"},
          Case{"list --sort age", 2, "'vesta2 list --help'"},
          Case{"list --limit 0", 2, "--limit"},
          Case{"list --mask r*", 2, "'@'"},
          Case{"list none", 3, "/none: no such"},
          Case{"list empty/file", 3, "/empty/file: not a group"},
          Case{"-C none list", 3, "none: no such"},
          Case{"-C - list", 2, "-C is empty"},
          Case{"rename r1 ..", 2, "no name"},
          Case{"show", 2, "vesta2 show --help"},
          Case{"show -", 2, "empty"},
          Case{"show /", 2, "/: the root directory"},
          Case{"list /usr/..", 2, "/: the root directory"},
          Case{"create result //", 2, "/: the root directory"},
          Case{"show none", 3, "vesta2 list"},
          Case{"show none/below", 3, "/none: no such"},
          Case{"show empty", 3, "/empty: a directory, but no result"},
          Case{"show empty/file", 3, "/empty/file: neither a marker"},
          Case{"show r@@b@@", 2, "more than one group"},
          Case{"show @@@@@@@@@", 2, "more than 8"},
          Case{"show r1 nokey", 3, "no property nokey"},
          Case{"set r1", 2, "vesta2 set --help"},
          Case{"diff r1 none", 3, "/none"},
          Case{"diff empty r1", 3, "/empty"},
          Case{"create result a:b", 2, "reserved character"},
          Case{"create result a.", 2, "ends with a dot"},
          Case{"create result r@@@ --overwrite", 2, "--overwrite"},
          Case{"create result {x} --var x=a/b", 2, "variable"},
          Case{"create result x --var nothing", 2, "NAME=VALUE"},
          Case{"create result {x}{user --var x=a:b", 2, "reserved character"},
          Case{"create result {app}", 2, "known are {user}, {host}, {date}, {rank};"},
          Case{"get {}", 2, "there is no variable {}"},
          Case{"collect --name {x}_@@ -- true", 2, "{app}"},
          Case{"create result x --into none", 3, "/none: no such"},
          Case{"create result empty/file/x", 3, "/empty/file/x"},
          Case{"copy none x", 3, "/none: no such"},
          Case{"copy r1 empty", 4, "/empty/r1"},
          Case{"move r1 empty/file", 4, "another name"},
          Case{"export r1 none/x", 3, "/none: no such directory"},
          Case{"copy r1 empty/file/x", 3, "/file: not a directory"},
          Case{"move r1 r1/x", 2, "in the node itself"},
          Case{"duplicate r1 a:b", 2, "reserved character"},
          Case{"move r1 a:b --rename", 2, "reserved character"},
          Case{"import r1 --ext other", 3, "'*.other'"},
          Case{"import r1 --ext *", 2, "no extension"},
          Case{"flag set r1 ..", 2, "name of a flag"},
          Case{"flag run r1 a/b -- true", 2, "name of a flag"},
          Case{"flag run r1 a", 2, "behind '--'"},
          Case{"collect ls -l", 2, "behind '--'"},
          Case{"collect --interval 0 -- true", 2, "--interval"},
          Case{"create project p", 4, "is a node already"},
          Case{"create experiment e --into p", 4, "is there already"},
          Case{"add p --to p", 2, "a project is never part of a group"},
          Case{"add p/e --to p/e", 2, "an experiment goes into a project only"},
          Case{"add r1 --to empty", 2, "a plain directory"},
          Case{"add r1", 2, "--to"},
          Case{"rename r1 a/b", 2, "reserved character"},
          Case{"relink r1 p", 2, "not reached through a link"},
          Case{"files p", 2, "no result"},
          Case{"finalize p", 2, "result"},
          Case{"purge / --keep 1 -y", 2, "root directory"}}) {
        const support::CommandResult result = run(words);
        EXPECT_EQ(result.code, code) << testing::PrintToString(words);
        EXPECT_EQ(result.out, "") << testing::PrintToString(words);
        EXPECT_THAT(result.err, AllOf(StartsWith("vesta2: "), HasSubstr(told)));
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
        const auto error =
            nlohmann::json::parse(run(Words("--json").with(words)).err, nullptr, false);
        EXPECT_EQ(error["error"]["code"], code) << testing::PrintToString(words);
    }
    EXPECT_FALSE(exists("r000")) << "nothing was made";
}

TEST_F(UsageTest, LostOutputIsNoSuccess) {
    output("create result r1");
    for (const char* words :
         {"list", "show r1", "--json list", "--help", "collect -q --capture -- echo x"}) {
        const auto result = Command({"-c", std::string(VESTA2_COMMAND " ") + words + " >/dev/full"},
                                    {directory.path().native(), {}, 0, "sh"})
                                .finish();
        EXPECT_EQ(result.code, 7);
        EXPECT_THAT(result.err, AllOf(HasSubstr("standard output"), HasSubstr("no space left")));
    }
    Command unread = start("list");
    unread.closeOutput();
    const auto quiet = unread.finish();
    EXPECT_EQ(quiet.err, "");
    EXPECT_THAT(quiet.code, testing::AnyOf(0, 141)) << "it may have been faster than the reader";
}

TEST_F(UsageTest, OptionsForEveryCommand) {
    EXPECT_THAT(output("--version"), StartsWith("vesta2 "));
    for (const std::string name : {"collect", "create", "get", "list", "show", "set", "diff"}) {
        EXPECT_THAT(output("--help"), HasSubstr("  " + name + " "));
        EXPECT_THAT(output(name + " --help"), HasSubstr("vesta2 " + name));
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
