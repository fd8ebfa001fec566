#include <map>
#include <regex>

#include "cli_test.h"

namespace {

/// A project and nodes beside it, which people have marked.
class CompletionTest : public CliTest {
protected:
    CompletionTest() {
        output("create project runs");
        output("create result r000 --into runs");
        createResults({"r001", "it's $5", "b\xff\xe6\x97\xa5 x", "li\nne", "r002", "store/r007"});
        output("rename r002 fast");
        output("tag r001 +O3 +slow");
        output("tag fast +far");
        output("set r001 user/x=1 a:b=2");
        write("dir/file", "text");
        output("add store/r007 --to runs");
        // What would never end to be read.
        EXPECT_EQ(::mkfifo((directory / "wait.zentorlink").c_str(), 0600), 0);
    }

    /// The candidates, with the first line in front where the shell has something to do.
    std::string asked(const Words& question) {
        const support::CommandResult result =
            run(Words("__complete").with(question), {"VESTA_LOG=debug:wait.zentorlink"});
        EXPECT_THAT(result, FieldsAre(0, _, ""));
        const std::regex surplus("^plain\n|\t[^\n]*|\n$");
        std::string all = std::regex_replace(result.out, surplus, "");
        std::ranges::replace(all, '\n', ' ');
        return all;
    }
};

TEST_F(CompletionTest, WhatCouldStandAtTheCursor) {
    for (const auto& [question, candidates] : pairs(
             "sh: show; -q cre: create; __: ; nothing x: ; help cr: create; create p: project; "
             "--color a: auto always; --vers: --version; list --vers: ; ls --m: --mask; "
             "list --mask -: ; list --group-by a: a:b age; list --sort name,el: name,elapsed; "
             "list --state inv: invalid; list --format=j: --format=json --format=jsonl; "
             "list --columns name,user/: name,user/tags name,user/x; "
             "-C runs show r: r000 r007 runs.zentorproj; -C none show r: ; -Cru: -Cruns/; "
             "show r: r001 r002 runs/; show runs/r: runs/r000 runs/r007 runs/runs.zentorproj; "
             "show ./f: ./fast; show fa: fast; show i: quote it's $5; "
             "show b: quote b\xff\xe6\x97\xa5 x; show li: ; show -- r0: r001 r002; show -- -x: ; "
             "show r001 us: user/tags user/x; show r001 el: elapsed; show --where x dir: dir/; "
             "show runs/r007 --key back: backlink; set fast user/: user/tags=; "
             "set r001 user/: user/tags= user/x=; set r001 --unset user/: user/tags user/x; "
             "set r001 us er back ti: ; tag r001 -s: -slow; tag r001 --wh: --where; "
             "tag fast -s: ; tag fast -f: -far; tag fast +: +O3 +far +slow; "
             "purge . --keep-tag=f: --keep-tag=far; purge runs --keep-tag f: ; "
             "add r001 --to ru: runs/; flag run r001 --wait: --wait; flag run r001 x -: program 4; "
             "collect --result-file dir/: dir/file; collect --into r: runs/; "
             "collect --env TER: TERM; collect --tag s: slow; "
             "collect -q --tag a -: program 4; collect --tag a -- ls x: program 4")) {
        EXPECT_EQ(asked(Words("words").with(question)), candidates) << question;
    }
    Command owner = startAndAwait("mine", "flag set r001 mine");
    EXPECT_EQ(asked("words flag clear r001 -"), "mine");
    owner.send(SIGTERM);
}

TEST_F(CompletionTest, LinesAsTheyAreTyped) {
    using Line = std::array<const char*, 3>;
    // What is typed, the part that is replaced, and what by.
    for (const auto& [line, replaced, candidates] :
         {Line{"vesta2 show it\\'", "it\\'", "quote it's $5"},
          Line{"vesta2 show \"it's", "it's", "quote it's $5"},
          Line{"vesta2 show 'it'\\''s $", "it'\\''s $", "quote it's $5"},
          Line{"vesta2 -C 'runs' show r000", "r000", "r000"},
          Line{"vesta2 list --format=j", "j", "json jsonl"}, Line{"vesta2 set r001 a:", "", "b="},
          Line{"vesta2 show r001 ", "", "quote"},
          Line{"vesta2 collect --tag=a -- ls --so", "--so", "program ls --so"},
          Line{"vesta2", "vesta2", ""}}) {
        EXPECT_THAT(asked({"line", line, replaced}), testing::StartsWith(candidates)) << line;
    }
    // Bash would not quote what is no file where it is.
    output({"tag", "r001", "+e`x`"});
    fs::create_directory(directory / "runs/d$x");
    EXPECT_EQ(asked("words tag r001 -e"), "quote -e`x`");
    EXPECT_EQ(asked({"line", "vesta2 tag r001 -e", "-e"}), "");
    EXPECT_EQ(asked({"line", "vesta2 -C runs show d", "d"}), "");
    EXPECT_EQ(asked({"line", "vesta2 show runs/d", "runs/d"}), "quote runs/d$x/");
}

TEST_F(CompletionTest, ManyAreNotLookedInto) {
    for (int i = 0; i < 1001; ++i) {
        fs::create_directories(directory / ("many/m" + std::to_string(i)));
    }
    output("create result many/r1");
    output("rename many/r1 mine");
    EXPECT_EQ(asked("words show many/r"), "many/r1");
    EXPECT_EQ(asked("words show many/mi"), "") << "its directory begins otherwise";
}

TEST_F(CompletionTest, NothingIsWritten) {
    write("store/r007/r007.zentor", read("store/r007/r007.zentor") + "\n");
    const std::string link = read("runs/r007.zentorlink");
    EXPECT_EQ(asked("words show runs/r007 --key back"), "backlink");
    EXPECT_EQ(read("runs/r007.zentorlink"), link);
    output("show runs/r007");
    EXPECT_NE(read("runs/r007.zentorlink"), link) << "to open it renews its link";
}

/// The words of a shell without anybody's settings, and how it gets the completion.
const std::map<std::string, std::array<std::string, 2>> shells{
    {"bash", {"--norc --noprofile -i", ". " COMPLETIONS "/vesta2.bash"}},
    {"zsh", {"-f -i", "fpath=(" COMPLETIONS " $fpath); autoload -U compinit; compinit -D"}},
    {"fish", {"--no-config -i", "source " COMPLETIONS "/vesta2.fish"}}};

/// What is typed into a shell names the node, whatever is in its name.
class ShellTest : public CompletionTest, public testing::WithParamInterface<const char*> {};

TEST_P(ShellTest, TakesItBack) {
    const std::string shell = GetParam();
    const auto& [arguments, setUp] = shells.at(shell);
    if (Command({"-c", "exit 3"}, {"/", {}, 0, shell}).finish().code != 3) {
        GTEST_SKIP() << "there is no " << shell;
    }
    ::setenv("PATH",
             (fs::path(VESTA2_COMMAND).parent_path().native() + ":" + ::getenv("PATH")).c_str(), 1);
    output({"set", "it's $5", "user/key=of-quotes"});
    output({"set", "b\xff\xe6\x97\xa5 x", "user/key=of-bytes"});
    const std::string home = directory.path().native();
    for (const auto& [keys, end] : Rows<std::string, std::string>{
             {"vesta2 show --key user/key it\t\n", "of-quotes"},
             {"vesta2 show --key user/key b\t\n", "of-bytes"},
             {"vesta2 list --format=ts\t --columns kin\t --mask fa\n", "no such nodes"},
             {"vesta2 collect -q --tag=a basenam\t /x/of''-program\n", "of-program"}}) {
        Command command(Words(arguments), {home, {"HOME=" + home, "LC_ALL=C.UTF-8"}, 200, shell});
        command.type(setUp + "\necho re''ady\n");
        command.awaitOutput("ready");
        command.type(keys);
        command.awaitOutput(end);
        command.type("\nexit\n");
        command.finish();
    }
}

INSTANTIATE_TEST_SUITE_P(Shells, ShellTest, testing::Values("bash", "zsh", "fish"),
                         [](const auto& shell) { return std::string(shell.param); });

}  // namespace
