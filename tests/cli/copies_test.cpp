#include <csignal>

#include "cli_test.h"

namespace {

class CliCopiesTest : public CliTest {
protected:
    void SetUp() override { run({"collect", "-q", "--", "sh", "-c", "exit 3"}); }
};

TEST_F(CliCopiesTest, EachMakesAWholeNode) {
    fs::create_directory(directory / "sub");
    for (const auto& [command, expected] :
         pairs("copy r000 sub/a: sub/a a; copy r000 sub/k --keep-name: sub/k r000; "
               "copy r000 b: b b; duplicate r000 d@@: d00 d00; duplicate r000 d@@: d01 d01; "
               "export r000 e: e e; move b sub/c: sub/c c")) {
        const std::string made = words(expected)[0];
        EXPECT_EQ(output(command), directory / made + "\n");
        EXPECT_EQ(show(made + " name state exitCode"), words(expected)[1] + "\nfinalized\n3\n");
        EXPECT_EQ(read(made + "/data.0/samples.csv"), read("r000/data.0/samples.csv"));
    }
    EXPECT_EQ(listed("list ."), "d00 d01 e r000");
}

TEST_F(CliCopiesTest, SeveralGoIntoADirectoryOrNowhere) {
    createResults("r001 single");
    output("rename single r7");
    write("taken/r001/file", "");
    fs::create_directory(directory / "into");
    for (const auto& [command, code] : Rows<Text, int>{{"copy r* taken", 4},
                                                       {"move r* taken", 4},
                                                       {"copy r* none", 2},
                                                       {"copy r* into --where state=none", 2},
                                                       {"export r* into --where exit=4", 3}}) {
        EXPECT_EQ(run(command).code, code) << command;
        EXPECT_EQ(listed("list taken") + listed("list into"), "") << command;
    }
    for (const auto& [command, made] :
         pairs("copy r* into/a --where name!=r7: r000 r001; "
               "export r* into/b --where state=finalized: r000; "
               "duplicate * into/c --where name=r7: r7; move r* into/d: r000 r001 r7")) {
        const std::string into = words(command)[2];
        fs::create_directory(directory / into);
        EXPECT_EQ(run(command).code, 0) << command;
        EXPECT_EQ(listed("list " + into), made) << command;
    }
    EXPECT_EQ(listed("list ."), "");
    EXPECT_TRUE(exists("into/d/r7/r7.zentor"));
}

TEST_F(CliCopiesTest, ExportLeavesOutAndImportFindsWhatIsNamed) {
    write("r000/data.0/drop.csv", "text");
    write("r000/scratch/file", "text");
    output("export r000 e --exclude *.csv --exclude scratch");
    EXPECT_THAT(support::pathsBelow(directory / "e"),
                ElementsAre(".norun", "collector.log", "command.log", "data.0", "e.zentor"));
    write("foreign/run.other", "<?xml version=\"1.0\"?><bag v=\"1\"/>");
    EXPECT_EQ(output("import foreign --ext .other"), directory / "foreign\n");
    EXPECT_EQ(json("import foreign --ext other")["node"]["name"], "run");
}

TEST_F(CliCopiesTest, CancellingLeavesNothingHalfDone) {
    write("r000/big", std::string(std::size_t{256} << 20U, 'x'));
    for (const std::string command : {"copy", "move", "duplicate"}) {
        support::CommandResult result;
        // A copy may be done before the signal comes.
        for (int attempt = 0; attempt < 20 && result.code != 130; ++attempt) {
            fs::remove_all(directory / "copy");
            Command running = start(command + " r000 copy");
            for (int i = 0; i < 10000 && !exists("copy"); ++i) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            running.send(SIGINT);
            running.send(SIGTERM);
            result = running.finish();
            if (!exists("r000")) {
                output("move copy r000");
            }
        }
        EXPECT_THAT(result, FieldsAre(130, _, HasSubstr("/copy: cancelled"))) << command;
        EXPECT_FALSE(exists("copy")) << command;
        EXPECT_EQ(show("r000 state"), "finalized\n") << command;
    }
}

TEST_F(CliCopiesTest, WhatIsInvalidStepsAside) {
    EXPECT_EQ(output("invalidate r000"), directory / "r000-bad\n");
    for (const char* refused : {"invalidate r000-bad", "finalize r000-bad"}) {
        output("get other");
        EXPECT_THAT(run(Words(refused).with("other")),
                    FieldsAre(1, _, HasSubstr("r000-bad: is invalid already; ")));
        EXPECT_EQ(show("r000-bad state") + show("other state"), "invalid\nincomplete\n");
    }
    EXPECT_EQ(output("finalize other"), directory / "other\n");
    const auto before = stampOf(directory / "other");
    EXPECT_EQ(output("finalize other"), directory / "other\n");
    EXPECT_EQ(stampOf(directory / "other"), before) << "nothing is written again";
    output("create result r000");
    // Without a group it becomes a member of the one that it is moved into, and needs no link
    // there.
    output("create project p");
    output("add r000 --to p");
    EXPECT_EQ(output("move r000 p/r000"), directory / "p/r000\n");
    EXPECT_EQ(run("check p").code, 0);
    output("create result single");
    EXPECT_EQ(output("move single p/single"), directory / "p/single\n");
    EXPECT_EQ(listed("list p"), "r000 single");
    output("create result r000");
    EXPECT_EQ(output("invalidate r000"), directory / "r000\n") << "its place is taken";
    EXPECT_EQ(show("r000 state"), "invalid\n");
}

}  // namespace
