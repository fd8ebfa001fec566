#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <deque>

#include "basekit2/bag_io.h"
#include "cli_test.h"

namespace {

/// A result r000, and a result apart in which nothing happens.
class CliFlagsTest : public CliTest {
protected:
    void SetUp() override {
        output("create result r000");
        output("create result quiet");
    }

    nlohmann::json flags() { return json("flag list r000")["flags"]; }
};

TEST_F(CliFlagsTest, WhoHoldsAFlagIsToldAndRespected) {
    Command holder = start("flag set r000 mine");
    ASSERT_TRUE(holder.awaitOutput("/r000/mine\n"));
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
        const auto result = run(refused);
        EXPECT_EQ(result.code, 5) << refused;
        EXPECT_THAT(result.err, AllOf(HasSubstr("flag mine is held by "), HasSubstr(pid)));
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
            const auto result = run(change);
            EXPECT_EQ(result.code, 5) << change;
            EXPECT_THAT(result.err, HasSubstr(note.native()));
        }
        fs::remove(note);
    }
    output("copy r000 q");
}

TEST_F(CliFlagsTest, WhatAKilledOwnerLeavesIsStale) {
    Command holder = start("flag set r000 mine");
    ASSERT_TRUE(holder.awaitOutput("/r000/mine\n"));
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
    for (const char* name : {"", "r000", "r000/r000.zentor"}) {
        ASSERT_EQ(::chmod((directory / name).c_str(), 0777), 0);
    }
    const auto asOther = [this](const char* words) {
        return run(Words("flag run quiet other -- setpriv --reuid=65534 --regid=65534 "
                         "--clear-groups " VESTA2_COMMAND)
                       .with(words));
    };
    Command holder = start("flag set r000 mine");
    ASSERT_TRUE(holder.awaitOutput("/r000/mine\n"));
    for (const auto& [name, mode, words, code] :
         {std::tuple{"r001", 0, "remove -y r@@@", 6},  // r000 is not the newest
          {"r001", 0, "diff r@@@ --where state", 6},
          {"r000/mine.infozentor", 0, "remove -y r000", 5},
          {"r000", 0500, "create result r000/x", 6},
          {"r000", 0, "list r000", 6},
          {"r000", 0, "show r000", 6},
          {"r000", 0, "show r@@@", 6}}) {
        ASSERT_EQ(::chmod((directory / name).c_str(), static_cast<mode_t>(mode)), 0);
        const auto result = asOther(words);
        EXPECT_EQ(result.code, code) << words;
        EXPECT_EQ(result.err.find("flag mine is held by another process") == std::string::npos,
                  code == 6)
            << result.err;
    }
}

TEST_F(CliFlagsTest, RunHoldsTheFlagAsLongAsItsProgramRuns) {
    Command holder = start("flag set r000 mine");
    ASSERT_TRUE(holder.awaitOutput("/r000/mine\n"));
    Command waiting =
        start(Words("flag run r000 mine --wait 30 -- sh -c")
                  .with({"trap 'exit 5' TERM; echo up; while :; do sleep 0.01; done"}));
    Command unread = start("flag set r000 mine --wait 30");
    unread.closeOutput();
    holder.send(SIGINT);
    EXPECT_EQ(holder.finish().code, 0);
    ASSERT_TRUE(waiting.awaitOutput("up"));
    EXPECT_EQ(flags()[0]["state"], "held");
    waiting.send(SIGTERM);
    EXPECT_EQ(waiting.finish().code, 5) << "the program's own code";
    const auto quiet = unread.finish();
    EXPECT_EQ(std::to_string(quiet.code) + quiet.err, "141") << "nobody reads what it prints";
    EXPECT_EQ(flags().size(), 0U);
    EXPECT_EQ(run({"flag", "run", "r000", "x", "--", "sh", "-c", "kill -9 $$"}).code, 137);
    EXPECT_EQ(run("flag run r000 x -- no-such-program").code, 127);
    EXPECT_EQ(flags().size(), 0U);
}

TEST_F(CliFlagsTest, SetEndsWithTheProcessThatStartedIt) {
    // The outer command ends with the shell, but its output only when the inner one has ended.
    const auto result = run(Words("flag run r000 outer -- sh -c")
                                .with({"$0 flag set r000 inner & until $0 flag list r000 | grep -q "
                                       "inner; do sleep 0.01; done",
                                       VESTA2_COMMAND}));
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(flags().size(), 0U);
}

TEST_F(CliFlagsTest, ChangesAtOnceAreAllKept) {
    const std::size_t before = json("show r000")["node"]["properties"].size();
    std::deque<Command> all;
    for (int i = 0; i < 24; ++i) {
        all.emplace_back(Words("set r@@@ key" + std::to_string(i) + "=kept"),
                         Command::Setting{directory.path().native()});
    }
    for (Command& command : all) {
        EXPECT_EQ(command.finish().code, 0);
    }
    EXPECT_EQ(json("show r000")["node"]["properties"].size(), before + all.size());
}

}  // namespace
