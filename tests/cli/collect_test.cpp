#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <csignal>
#include <sstream>

#include "cli_test.h"

using support::Command;
using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

namespace {

using CollectTest = CliTest;

std::vector<std::string> shell(const std::string& script, std::vector<std::string> options = {}) {
    options.insert(options.begin(), "collect");
    options.insert(options.end(), {"--", "sh", "-c", script});
    return options;
}

std::vector<std::vector<double>> rows(const std::string& csv) {
    std::vector<std::vector<double>> all;
    std::istringstream lines(csv);
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line)) {
        std::istringstream cells(line);
        std::string cell;
        all.emplace_back();
        while (std::getline(cells, cell, ',')) {
            all.back().push_back(std::stod(cell));
        }
    }
    return all;
}

TEST_F(CollectTest, TheProgramsEndIsTheCommandsEnd) {
    struct Case {
        std::vector<std::string> program;
        int code;
        std::string state;
        std::string recorded;
    };
    write("plain", "text");
    const std::vector<Case> cases{
        {{"true"}, 0, "finalized", "exitCode"},
        {{"sh", "-c", "exit 42"}, 42, "finalized", "exitCode"},
        {{"sh", "-c", "kill -KILL $$"}, 137, "finalized", "exitSignal"},
        {{"no-such-program"}, 127, "invalid", "collectionTimeBegin"},
        {{"./plain"}, 126, "invalid", "collectionTimeBegin"},
    };
    for (const Case& each : cases) {
        std::vector<std::string> arguments{"collect", "--"};
        arguments.insert(arguments.end(), each.program.begin(), each.program.end());
        const support::CommandResult result = run(arguments);
        EXPECT_EQ(result.code, each.code) << each.program.back();
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_EQ(show("r@@@", {"state"}), each.state + "\n") << each.program.back();
        EXPECT_EQ(run({"show", "r@@@", each.recorded}).code, 0) << each.recorded;
    }
    EXPECT_EQ(show("r001", {"exitCode"}) + show("r002", {"exitSignal"}), "42\n9\n");
}

TEST_F(CollectTest, WordsReachTheProgramUntouched) {
    const std::vector<std::string> words{"--", "-q", "[a,b]", "", "\x01x", "a b'c", "--json"};
    std::vector<std::string> arguments{"collect", "-q", "--", "printf", "<%s>"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    const support::CommandResult result = run(arguments);
    EXPECT_EQ(result.out, "<--><-q><[a,b]><><\x01x><a b'c><--json>");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(show("r000", {"collectionCommand"}),
              "printf '<%s>' -- -q '[a,b]' '' '\\x01x' 'a b'\\\\''c' --json\n");
}

TEST_F(CollectTest, NamesAreMadeOfVariables) {
    output({"create", "result", "runs/old"});
    const Command::Setting underMpi{directory.path().native(), {"PMI_RANK=3"}};
    const std::vector<std::string> arguments{"collect", "--name",   "{app}-{rank}-{site}_@@",
                                             "--var",   "site=lab", "--into",
                                             "runs",    "--",       "true"};
    ASSERT_EQ(Command(arguments, underMpi).finish().code, 0);
    ASSERT_EQ(run(arguments).code, 0);
    EXPECT_EQ(show("runs/true-3-lab_00", {"mpirank", "variables/site"}), "3\nlab\n");
    EXPECT_EQ(run({"show", "runs/true-0-lab_00", "mpirank"}).code, 3);
    // A program may be called what a result may not.
    write("a:b?.", "#!/bin/sh\n");
    boost::filesystem::permissions(directory / "a:b?.", boost::filesystem::owner_all);
    EXPECT_EQ(run({"collect", "--name", "{app}", "--", "./a:b?."}).code, 0);
    EXPECT_EQ(show("a_b__", {"variables/app"}), "a_b__\n");
}

TEST_F(CollectTest, SamplesCountTheWholeTree) {
    // The writer loses its parent and sits in another session; its bytes count all the same.
    const std::string script = R"(mkfifo done
(setsid sh -c 'head -c 8388608 /dev/zero > big; i=0; while [ $i -lt 100000 ]; do i=$((i+1)); done
               echo > done' &)
read x < done)";
    ASSERT_EQ(run(shell(script, {"--interval", "5"})).code, 0);
    const auto samples = rows(read("r000/data.0/samples.csv"));
    ASSERT_GE(samples.size(), 3U);
    double busiest = 0;
    double most = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        ASSERT_EQ(samples[i].size(), 6U);
        busiest = std::max(busiest, samples[i][1]);
        most = std::max(most, samples[i][3]);
        for (const std::size_t growing : {0U, 4U, 5U}) {
            EXPECT_TRUE(i == 0 || samples[i][growing] >= samples[i - 1][growing]) << growing;
        }
    }
    EXPECT_GE(samples.back()[5], 8388608);
    EXPECT_GE(most, 2) << "the program and its orphan";
    EXPECT_GT(busiest, 10);
    EXPECT_LE(busiest, 100.0 * static_cast<double>(::sysconf(_SC_NPROCESSORS_ONLN)) + 0.1);
    const auto properties = json({"show", "r000"})["properties"];
    EXPECT_GE(std::stoll(properties["writtenBytes"].get<std::string>()), 8388608);
    EXPECT_GT(std::stoll(properties["userTimeMicroseconds"].get<std::string>()), 0);
    EXPECT_EQ(properties["sampleCount"], std::to_string(samples.size()));
}

TEST_F(CollectTest, WhatHappensBetweenSamplesCountsInTheEnd) {
    ASSERT_EQ(run(shell("head -c 100000 /dev/zero > file", {"--interval", "60000"})).code, 0);
    const auto samples = rows(read("r000/data.0/samples.csv"));
    ASSERT_EQ(samples.size(), 2U);
    EXPECT_GE(samples.back()[5], 100000);
}

TEST_F(CollectTest, NoSignalIsBlockedInTheProgram) {
    EXPECT_EQ(output({"collect", "--", "grep", "SigBlk", "/proc/self/status"}),
              "SigBlk:\t0000000000000000\n");
}

TEST_F(CollectTest, CaptureShowsAndSaves) {
    const auto result =
        run(shell("head -c 300000 /dev/zero | tr '\\0' x; echo oops >&2", {"--capture", "-q"}));
    EXPECT_EQ(result.out, std::string(300000, 'x'));
    EXPECT_EQ(result.err, "oops\n");
    const std::string log = read("r000/application.log");
    EXPECT_EQ(log.size(), result.out.size() + result.err.size());
    EXPECT_THAT(log, HasSubstr("oops\n"));
    ASSERT_EQ(run(shell("echo quiet")).out, "quiet\n");
    EXPECT_EQ(read("r001/application.log"), "");
}

TEST_F(CollectTest, EndsWithTheProgramAndNotWithWhatItLeavesBehind) {
    const auto result = run(shell("sleep 100 & echo $!", {"--capture"}));
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(::kill(static_cast<pid_t>(std::stol(result.out)), SIGKILL), 0);
}

TEST_F(CollectTest, AReaderThatGoesEndsTheProgram) {
    Command command(shell("exec yes", {"--capture"}), {directory.path().native()});
    ASSERT_TRUE(command.awaitOutput("y\n"));
    command.closeOutput();
    EXPECT_EQ(command.finish().code, 128 + SIGPIPE);
    EXPECT_EQ(show("r000", {"state"}), "finalized\n");
}

TEST_F(CollectTest, SignalsGoToTheProgramAndTheResultIsFinished) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        Command command(shell("sleep 100 > sleep.out 2>&1 & "
                              "trap 'kill $!; exit 5' INT TERM HUP QUIT; echo up; wait"),
                        {directory.path().native()});
        ASSERT_TRUE(command.awaitOutput("up"));
        command.send(signal);
        EXPECT_EQ(command.finish().code, 5) << signal;
        EXPECT_EQ(show("r@@@", {"state", "exitCode"}), "finalized\n5\n");
    }
}

TEST_F(CollectTest, CtrlCReachesTheProgramOnce) {
    // Whoever gets the signal twice counts two before it reads the line that follows.
    Command command(shell("n=0; trap 'n=$((n+1)); echo int' INT; echo up; "
                          "read x; read x; echo total $n"),
                    {directory.path().native(), {}, {}, 80});
    ASSERT_TRUE(command.awaitOutput("up"));
    command.type("\x03");
    ASSERT_TRUE(command.awaitOutput("int"));
    command.type("a\n");
    command.type("b\n");
    const auto result = command.finish();
    EXPECT_EQ(result.code, 0);
    EXPECT_THAT(result.out, HasSubstr("total 1"));
    // Two signals that come close together may count as one.
    EXPECT_THAT(read("r000/collector.log"), Not(HasSubstr("passed on")));
}

TEST_F(CollectTest, AKilledCollectorLeavesAReadableResult) {
    Command command(shell("echo $$; exec sleep 100"), {directory.path().native()});
    ASSERT_TRUE(command.awaitOutput("\n"));
    command.send(SIGKILL);
    const auto program = static_cast<pid_t>(std::stol(command.output()));
    EXPECT_EQ(::kill(program, SIGKILL), 0) << "the program goes on by itself";
    command.finish();
    EXPECT_EQ(show("r000", {"state", "collectionCommand"}),
              "orphaned\nsh -c 'echo $$; exec sleep 100'\n");
    EXPECT_EQ(run({"show", "r000", "collectionTimeBegin"}).code, 0);
}

TEST_F(CollectTest, WhatTookThePlaceOfTheResultIsLeftAlone) {
    const auto result = run(shell("mv r000 gone; mkdir r000; echo kept > r000/r000.zentor"));
    EXPECT_EQ(result.code, 7);
    EXPECT_THAT(result.err, HasSubstr("r000: is another directory"));
    EXPECT_EQ(read("r000/r000.zentor"), "kept\n");
    EXPECT_EQ(::access((directory / "r000/.norun").c_str(), F_OK), -1);
    EXPECT_EQ(::access((directory / "r000/.bad").c_str(), F_OK), -1);
    EXPECT_EQ(show("gone", {"state"}), "orphaned\n");
}

TEST_F(CollectTest, TellsWhereTheResultIs) {
    EXPECT_THAT(run({"collect", "--", "true"}).err,
                MatchesRegex("vesta2: result .*/r000 \\(exit code 0, [0-9.]+ s\\)\n"));
    const auto told = nlohmann::json::parse(run({"collect", "--json", "--", "true"}).err);
    EXPECT_EQ(told["schema"], 1);
    EXPECT_EQ(told["result"]["path"], directory / "r001");
    EXPECT_EQ(told["result"]["exitCode"], 0);
    EXPECT_EQ(run({"collect", "-q", "--", "true"}).err, "");
    EXPECT_THAT(read("r000/command.log"), HasSubstr("command: true\n"));
    EXPECT_THAT(read("r000/collector.log"),
                AllOf(HasSubstr("started as process"), HasSubstr("ended with exit code 0")));
}

}  // namespace
