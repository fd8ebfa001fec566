#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <memory>

#include "cli_test.h"

using support::Command;
using testing::AllOf;
using testing::HasSubstr;

namespace {

/// A result r000, and a result apart in which nothing happens.
class CliFlagsTest : public CliTest {
protected:
    void SetUp() override {
        output({"create", "result", "r000"});
        output({"create", "result", "quiet"});
    }

    /// Who holds the flag "mine" on r000.
    std::unique_ptr<Command> hold() {
        auto holder = std::make_unique<Command>(
            std::vector<std::string>{"flag", "set", "r000", "mine"}, Command::Setting{path()});
        EXPECT_TRUE(holder->awaitOutput("/r000/mine\n"));
        return holder;
    }
    std::string path() { return directory.path().native(); }
    nlohmann::json flags() { return json({"flag", "list", "r000"})["flags"]; }
};

TEST_F(CliFlagsTest, WhoHoldsAFlagIsToldAndRespected) {
    const auto holder = hold();
    const nlohmann::json flag = flags()[0];
    EXPECT_EQ(flag["name"], "mine");
    EXPECT_EQ(flag["state"], "held");
    const std::string pid = "process " + flag["pid"].dump() + " on ";
    const std::string before = output({"files", "r000"}) + read("r000/r000.zentor");
    const std::vector<std::vector<std::string>> refused{
        {"flag", "set", "r000", "mine"},
        {"flag", "run", "r000", "mine", "--", "touch", "r000/touched"},
        {"flag", "clear", "r000", "mine"},
        {"flag", "clear", "r000", "mine", "--force"},
        {"move", "r000", "elsewhere"},
        {"invalidate", "r000"},
        {"rename", "r000", "q"},
        {"finalize", "r000"},
        {"create", "result", "r000", "--overwrite"},
        {"remove", "-y", "quiet", "r000"},
        {"purge", ".", "--keep", "0", "--mask", "r@@@", "-y"},
    };
    for (const std::vector<std::string>& arguments : refused) {
        const auto result = run(arguments);
        EXPECT_EQ(result.code, 5) << testing::PrintToString(arguments);
        EXPECT_THAT(result.err, AllOf(HasSubstr("flag mine is held by "), HasSubstr(pid)));
    }
    EXPECT_EQ(output({"files", "r000"}) + read("r000/r000.zentor"), before);
    EXPECT_EQ(show("r000", {"state"}) + show("quiet", {"state"}), "incomplete\nincomplete\n");
    holder->send(SIGTERM);
    EXPECT_EQ(holder->finish().code, 0);
    EXPECT_EQ(flags(), nlohmann::json::array());
}

TEST_F(CliFlagsTest, WhatAKilledOwnerLeavesIsStale) {
    for (const bool isCleared : {true, false}) {
        const auto holder = hold();
        holder->send(SIGKILL);
        holder->finish();
        EXPECT_EQ(flags()[0]["state"], "stale");
        if (isCleared) {
            EXPECT_EQ(output({"flag", "clear", "r000", "mine"}), directory / "r000/mine\n");
            EXPECT_EQ(flags(), nlohmann::json::array());
            EXPECT_EQ(run({"flag", "clear", "r000", "mine"}).code, 3);
        }
    }
    EXPECT_EQ(run({"flag", "run", "r000", "mine", "--", "true"}).code, 0) << "taken over";
    // A lock file without a record, as a full disk leaves one, tells of nobody.
    write("r000/empty.dflgzentor", "");
    EXPECT_EQ(flags()[0]["state"], "free");
    output({"flag", "clear", "r000", "empty"});
    // A record alone, of a process that has ended.
    write("r000/alone.infozentor", R"(<bag v="1"><uint32 n="pid">0</uint32></bag>)");
    EXPECT_EQ(flags()[0]["state"], "stale");
    output({"flag", "clear", "r000", "alone"});
    EXPECT_EQ(flags(), nlohmann::json::array());
}

TEST_F(CliFlagsTest, WhatMayNotBeReadIsRespected) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs a second user";
    }
    output({"set", "r000", "note=old"});
    for (const char* name : {"", "r000", "r000/r000.zentor"}) {
        ASSERT_EQ(::chmod((directory / name).c_str(), 0777), 0);
    }
    Command holder({"flag", "run", "quiet", "outer", "--", "sh", "-c",
                    "umask 077; exec \"$0\" flag set r000 collecting", VESTA2_COMMAND},
                   {path()});
    ASSERT_TRUE(holder.awaitOutput("/r000/collecting\n"));
    for (const std::vector<std::string>& refused :
         {std::vector<std::string>{"set", "r000", "note=new"}, {"remove", "-y", "r000"}}) {
        std::vector<std::string> asOther{
            "flag",    "run",           "quiet",         "other",          "--",
            "setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", VESTA2_COMMAND};
        asOther.insert(asOther.end(), refused.begin(), refused.end());
        const auto result = run(asOther);
        EXPECT_EQ(result.code, 5) << result.err;
        EXPECT_THAT(result.err, HasSubstr("flag collecting is held by another process"));
    }
    EXPECT_EQ(show("r000", {"note"}), "old\n");
    holder.send(SIGTERM);
    EXPECT_EQ(holder.finish().code, 0);
}

TEST_F(CliFlagsTest, RunHoldsTheFlagAsLongAsItsProgramRuns) {
    const auto holder = hold();
    Command waiting({"flag", "run", "r000", "mine", "--wait", "30", "--", "sh", "-c",
                     "trap 'exit 5' TERM; echo up; while :; do sleep 0.01; done"},
                    {path()});
    holder->send(SIGINT);
    EXPECT_EQ(holder->finish().code, 0);
    ASSERT_TRUE(waiting.awaitOutput("up"));
    EXPECT_EQ(flags()[0]["state"], "held");
    waiting.send(SIGTERM);
    EXPECT_EQ(waiting.finish().code, 5) << "the program's own code";
    EXPECT_EQ(flags(), nlohmann::json::array());
    EXPECT_EQ(run({"flag", "run", "r000", "x", "--", "sh", "-c", "kill -9 $$"}).code, 137);
    EXPECT_EQ(run({"flag", "run", "r000", "x", "--", "no-such-program"}).code, 127);
    EXPECT_EQ(flags(), nlohmann::json::array());
}

TEST_F(CliFlagsTest, SetEndsWithTheProcessThatStartedIt) {
    // The outer command ends with the shell, but its output only when the inner one has ended.
    const auto result = run({"flag", "run", "r000", "outer", "--", "sh", "-c",
                             "$0 flag set r000 inner & "
                             "until $0 flag list r000 | grep -q inner; do sleep 0.01; done",
                             VESTA2_COMMAND});
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(flags(), nlohmann::json::array());
}

TEST_F(CliFlagsTest, ChangesAtOnceAreAllKept) {
    std::vector<std::unique_ptr<Command>> all;
    std::vector<std::string> keys;
    for (int i = 0; i < 24; ++i) {
        keys.push_back("key" + std::to_string(i));
        all.push_back(std::make_unique<Command>(
            std::vector<std::string>{"set", "r@@@", keys.back() + "=kept"},
            Command::Setting{path()}));
    }
    std::string expected;
    for (const auto& command : all) {
        EXPECT_EQ(command->finish().code, 0);
        expected += "kept\n";
    }
    EXPECT_EQ(show("r000", keys), expected);
}

TEST_F(CliFlagsTest, AResultThatIsBeingCollectedIsLeftAlone) {
    Command collector({"collect", "-q", "--", "sh", "-c", "echo $$; exec sleep 100"}, {path()});
    ASSERT_TRUE(collector.awaitOutput("\n"));
    EXPECT_EQ(show("r001", {"state"}), "collecting\n");
    EXPECT_EQ(json({"list", "--state", "collecting"})["nodes"][0]["name"], "r001");
    EXPECT_EQ(run({"set", "r001", "note=lost"}).code, 5);
    collector.send(SIGKILL);
    ::kill(static_cast<pid_t>(std::stol(collector.output())), SIGKILL);
    collector.finish();
    EXPECT_EQ(json({"list", "--state", "orphaned"})["nodes"][0]["name"], "r001");
    EXPECT_EQ(run({"set", "r001", "note=kept"}).code, 0);
    run({"collect", "-q", "--", "true"});
    EXPECT_EQ(json({"flag", "list", "r002"})["flags"], nlohmann::json::array());
}

}  // namespace
