#include <unistd.h>

#include <csignal>

#include "basekit2/bag_io.h"
#include "cli_test.h"

namespace {

/// A result r000, and a result apart in which nothing happens.
class CliFlagsTest : public CliTest {
protected:
    void SetUp() override { createResults("r000 quiet"); }

    /// Holds the flag "mine" of r000.
    Command held() { return startAndAwait("/r000/mine\n", "flag set r000 mine"); }
    nlohmann::json flags() { return json("flag list r000")["flags"]; }
};

TEST_F(CliFlagsTest, WhoHoldsAFlagIsToldAndRespected) {
    Command holder = held();
    output("create project p");
    fs::create_directory(directory / "into");
    const nlohmann::json flag = flags()[0];
    EXPECT_EQ(flag["name"], "mine");
    EXPECT_EQ(flag["state"], "held");
    const std::string pid = "process " + flag["pid"].dump() + " on ";
    const std::string before = output("files r000") + read("r000/r000.zentor");
    for (const char* refused :
         {"flag set r000 mine", "flag run r000 mine -- touch r000/touched", "flag clear r000 mine",
          "flag clear r000 mine --force", "move r000 elsewhere", "invalidate r000", "rename r000 q",
          "finalize quiet r000", "create result r000 --overwrite -y", "remove -y quiet r000",
          "invalidate quiet r000", "move [qr]* into", "add quiet r000 --to p", "unlink r000"}) {
        EXPECT_THAT(run(refused),
                    FieldsAre(5, _, AllOf(HasSubstr("flag mine is held by "), HasSubstr(pid))))
            << refused;
    }
    EXPECT_EQ(output("files r000") + read("r000/r000.zentor"), before);
    EXPECT_EQ(show("r000 state") + show("quiet state"), "incomplete\nincomplete\n");
    holder.send(SIGTERM);
    EXPECT_EQ(holder.finish().code, 0);
    EXPECT_EQ(flags().size(), 0U);
}

TEST_F(CliFlagsTest, WhatIsBeingDeletedIsNotChanged) {
    for (const std::string& left :
         {std::string(".bagtmp-elsewhere-1-2"), basekit2::make_bag_temporary()}) {
        const auto note = directory.path() / "r000" / (left + basekit2::removal_suffix.data());
        writeFile(note, "");
        for (const char* change : {"set r000 a=b", "rename r000 q", "copy r000 q"}) {
            EXPECT_THAT(run(change), FieldsAre(5, _, HasSubstr(note.native()))) << change;
        }
        fs::remove(note);
    }
    output("copy r000 q");
}

TEST_F(CliFlagsTest, WhatAKilledOwnerLeavesIsStale) {
    Command holder = held();
    holder.send(SIGKILL);
    holder.finish();
    // A lock file without a record, as a full disk leaves one, tells of nobody.
    write("r000/empty.dflgzentor", "");
    EXPECT_EQ(flags()[0]["state"], "free");
    EXPECT_EQ(flags()[1]["state"], "stale");
    EXPECT_EQ(output("flag clear r000 mine"), directory / "r000/mine\n");
    EXPECT_EQ(run("flag clear r000 mine").code, 3);
    output("flag clear r000 empty");
    EXPECT_EQ(flags().size(), 0U);
}

TEST_F(CliFlagsTest, WhatMayNotBeReadIsRespected) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs a second user";
    }
    output("create result r001");
    inShell("chmod 0777 . r000 r000/r000.zentor");
    Command holder = held();
    for (const auto& [name, mode, words, code] :
         {std::tuple{"r001", 0, "remove -y r@@@", 6},  // r000 is not the newest
          {"r001", 0, "diff r@@@ --where state", 6},
          {"r000/mine.infozentor", 0, "remove -y r000", 5},
          {"r000", 0500, "create result r000/x", 6},
          {"r000", 0, "list r000", 6},
          {"r000", 0, "show r000", 6},
          {"r000", 0, "show r@@@", 6}}) {
        fs::permissions(directory / name, fs::perms(mode));
        const auto result = runAsOther(words);
        EXPECT_EQ(result.code, code) << words;
        EXPECT_EQ(result.err.find("flag mine is held by another process") == std::string::npos,
                  code == 6)
            << result.err;
    }
}

TEST_F(CliFlagsTest, RunHoldsTheFlagAsLongAsItsProgramRuns) {
    Command holder = held();
    Command waiting =
        start(Words("flag run r000 mine --wait 30 -- sh -c")
                  .with({"trap 'exit 5' TERM; echo up; while :; do sleep 0.01; done"}));
    Command unread = start("flag set r000 mine --wait 30");
    unread.closeOutput();
    holder.send(SIGINT);
    EXPECT_EQ(holder.finish().code, 0);
    waiting.awaitOutput("up");
    EXPECT_EQ(flags()[0]["state"], "held");
    waiting.send(SIGTERM);
    EXPECT_EQ(waiting.finish().code, 5) << "the program's own code";
    EXPECT_THAT(unread.finish(), FieldsAre(141, _, "")) << "nobody reads what it prints";
    EXPECT_EQ(flags().size(), 0U);
    EXPECT_EQ(run({"flag", "run", "r000", "x", "--", "sh", "-c", "kill -9 $$"}).code, 137);
    EXPECT_EQ(run("flag run r000 x -- no-such-program").code, 127);
    EXPECT_EQ(flags().size(), 0U);
}

TEST_F(CliFlagsTest, SetEndsWithTheProcessThatStartedIt) {
    // The shell ends first, but its output only when the command has ended.
    const auto result = inShell("$0 flag set r000 inner &\n"
                                "until $0 flag list r000 | grep -q inner; do sleep 0.01; done");
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(flags().size(), 0U);
}

TEST_F(CliFlagsTest, ChangesAtOnceAreAllKept) {
    const std::size_t before = json("show r000")["node"]["properties"].size();
    const auto result = inShell("for i in $(seq 24); do\n"
                                "($0 set r@@@ key$i=kept || echo failed >&2) &\ndone\nwait");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(json("show r000")["node"]["properties"].size(), before + 24);
}

}  // namespace
