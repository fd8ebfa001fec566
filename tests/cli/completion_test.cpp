#include "cli_test.h"

namespace {

/// A project and nodes beside it, which people have marked.
class CompletionTest : public CliTest {
protected:
    CompletionTest() {
        output("create project runs");
        output("create result r000 --into runs");
        for (const char* name : {"r001", "it's $5", "b\xff\xe6\x97\xa5 x", "li\nne"}) {
            output({"create", "result", name});
        }
        output("create result r002");
        output("rename r002 fast");
        output("tag r001 +O3 +slow");
        output("tag fast +far");
        output("set r001 user/x=1 a:b=2");
        write("dir/file", "text");
        output("create result store/r007");
        output("add store/r007 --to runs");
        // What would never end to be read.
        EXPECT_EQ(::mkfifo((directory / "wait.zentorlink").c_str(), 0600), 0);
    }

    /// The candidates, with the first line in front where the shell has something to do.
    std::string asked(const Words& question) {
        const support::CommandResult result =
            start(Words("__complete").with(question), {"VESTA_LOG=debug:wait.zentorlink"}).finish();
        EXPECT_EQ(result.code, 0);
        EXPECT_EQ(result.err, "");
        std::istringstream lines(result.out);
        std::string all;
        for (std::string line; std::getline(lines, line);) {
            line.erase(std::min(line.find('\t'), line.size()));
            all += line == "plain" ? "" : (all.empty() ? "" : " ") + line;
        }
        return all;
    }
};

TEST_F(CompletionTest, WhatCouldStandAtTheCursor) {
    for (const auto& [question, candidates] :
         Rows<Words, std::string>{{"sh", "show"},
                                  {"-q cre", "create"},
                                  {"__", ""},
                                  {"nothing x", ""},
                                  {"help cr", "create"},
                                  {"create p", "project"},
                                  {"ls --m", "--mask"},
                                  {"list --vers", ""},
                                  {"--vers", "--version"},
                                  {"--color a", "auto always"},
                                  {"list --format=j", "--format=json --format=jsonl"},
                                  {"list --state inv", "invalid"},
                                  {"list --sort name,el", "name,elapsed"},
                                  {"list --columns name,user/", "name,user/tags name,user/x"},
                                  {"list --group-by a", "a:b age"},
                                  {"list --mask -", ""},
                                  {"show r", "r001 r002 runs/"},
                                  {"show runs/r", "runs/r000 runs/r007 runs/runs.zentorproj"},
                                  {"-C runs show r", "r000 r007 runs.zentorproj"},
                                  {"-C none show r", ""},
                                  {"-Cru", "-Cruns/"},
                                  {"show ./f", "./fast"},
                                  {"show fa", "fast"},
                                  {"show i", "quote it's $5"},
                                  {"show b", "quote b\xff\xe6\x97\xa5 x"},
                                  {"show li", ""},
                                  {"show -- r0", "r001 r002"},
                                  {"show -- -x", ""},
                                  {"show r001 us", "user/tags user/x"},
                                  {"show r001 el", "elapsed"},
                                  {"show --where x dir", "dir/"},
                                  {"show runs/r007 --key back", "backlink"},
                                  {"set r001 user/", "user/tags= user/x="},
                                  {"set fast user/", "user/tags="},
                                  {"set r001 us er back ti", ""},
                                  {"set r001 --unset user/", "user/tags user/x"},
                                  {"tag r001 -s", "-slow"},
                                  {"tag fast +", "+O3 +far +slow"},
                                  {"tag fast -f", "-far"},
                                  {"tag fast -s", ""},
                                  {"tag r001 --wh", "--where"},
                                  {"collect --tag s", "slow"},
                                  {"purge . --keep-tag=f", "--keep-tag=far"},
                                  {"purge runs --keep-tag f", ""},
                                  {"add r001 --to ru", "runs/"},
                                  {"collect --into r", "runs/"},
                                  {"collect --result-file dir/", "dir/file"},
                                  {"collect --env TER", "TERM"},
                                  {"collect -q --tag a -", "program 4"},
                                  {"collect --tag a -- ls x", "program 4"},
                                  {"flag run r001 x -", "program 4"},
                                  {"flag run r001 --wait ", "--wait"}}) {
        EXPECT_EQ(asked(Words("words").with(question)), candidates)
            << testing::PrintToString(question);
    }
    Command owner = start("flag set r001 mine");
    ASSERT_TRUE(owner.awaitOutput("mine"));
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

/// What is typed into a shell names the node, whatever is in its name.
class ShellTest : public CompletionTest, public testing::WithParamInterface<const char*> {
protected:
    /// The shell without anybody's settings, on a terminal, with the completion.
    std::string typed(const std::string& shell, const std::string& keys, const std::string& end) {
        const std::string scripts = COMPLETIONS;
        const std::string setUp =
            shell == "zsh" ? "fpath=(" + scripts + " $fpath); autoload -U compinit; compinit -D\n"
            : shell == "fish" ? "source " + scripts + "/vesta2.fish\n"
                              : ". " + scripts + "/vesta2.bash\n";
        const Words arguments = shell == "zsh"    ? Words("-f -i")
                                : shell == "fish" ? Words("--no-config -i")
                                                  : Words("--norc --noprofile -i");
        Command command(arguments, {directory.path().native(),
                                    {"HOME=" + directory.path().native(), "LC_ALL=C.UTF-8"},
                                    200,
                                    shell});
        command.type(setUp + "echo re''ady\n");
        EXPECT_TRUE(command.awaitOutput("ready")) << command.output();
        command.type(keys);
        EXPECT_TRUE(command.awaitOutput(end)) << command.output();
        command.type("\nexit\n");
        return command.finish().out;
    }
};

TEST_P(ShellTest, TakesItBack) {
    const std::string shell = GetParam();
    if (Command({"-c", "exit 3"}, {"/", {}, 0, shell}).finish().code != 3) {
        GTEST_SKIP() << "there is no " << shell;
    }
    ::setenv("PATH",
             (fs::path(VESTA2_COMMAND).parent_path().native() + ":" + ::getenv("PATH")).c_str(), 1);
    output({"set", "it's $5", "user/key=of-quotes"});
    output({"set", "b\xff\xe6\x97\xa5 x", "user/key=of-bytes"});
    for (const auto& [keys, end] : Rows<std::string, std::string>{
             {"vesta2 show --key user/key it\t\n", "of-quotes"},
             {"vesta2 show --key user/key b\t\n", "of-bytes"},
             {"vesta2 list --format=ts\t --columns kin\t --mask fa\n", "no such nodes"},
             {"vesta2 collect -q --tag=a basenam\t /x/of''-program\n", "of-program"}}) {
        typed(shell, keys, end);
        if (HasFailure()) {
            break;  // each would be waited for
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Shells, ShellTest, testing::Values("bash", "zsh", "fish"),
                         [](const auto& shell) { return std::string(shell.param); });

}  // namespace
