#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "cli_test.h"

namespace {

using testing::MatchesRegex;
using CollectTest = CliTest;

Words shell(const std::string& script, const std::string& options = "") {
    return Words("collect " + options + " -- sh -c").with({script});
}

/// The rows of samples.csv below its heading.
std::vector<std::array<std::string, 6>> samplesIn(std::string csv) {
    std::replace(csv.begin(), csv.end(), ',', ' ');
    std::replace(csv.begin(), csv.end(), '\n', ';');
    return rows<6>(csv.substr(csv.find(';') + 1));
}

TEST_F(CollectTest, TheProgramsEndIsTheCommandsEnd) {
    write("plain", "text");
    for (const auto& [program, code, state, recorded, told] : Rows<Words, int, Text, Text, Text>{
             {"true", 0, "finalized", "exitCode", "/r000 (exit code 0, "},
             {{"sh", "-c", "exit 42"}, 42, "finalized", "exitCode", "exit code 42"},
             {{"sh", "-c", "kill -9 $$"}, 137, "finalized", "exitSignal", "killed by SIGKILL"},
             {"no-such-program", 127, "invalid", "collectionTimeBegin", "/r003-bad is invalid"},
             {"./plain", 126, "invalid", "collectionTimeBegin", "/r004-bad is invalid"}}) {
        EXPECT_THAT(run(Words("collect --").with(program)),
                    FieldsAre(code, "", AllOf(HasSubstr(told), MatchesRegex("[^\n]*\n"))));
        EXPECT_EQ(show("r@@@ state"), std::string(state) + "\n") << program.back();
        EXPECT_NE(show(std::string("r@@@ ") + recorded), "");
    }
    EXPECT_EQ(show("r001 exitCode") + show("r002 exitSignal"), "42\n9\n");
    const auto told = nlohmann::json::parse(run("collect --json -- true").err);
    EXPECT_EQ(told["schema"], 1);
    EXPECT_EQ(told["node"]["path"], directory / "r005");
    EXPECT_THAT(read("r003-bad/collector.log"), HasSubstr("no such program"));
    EXPECT_THAT(read("r000/command.log"), HasSubstr("command: true\n"));
    EXPECT_THAT(read("r000/collector.log"),
                AllOf(HasSubstr("started as process"), HasSubstr("ended with exit code 0")));
}

TEST_F(CollectTest, WordsReachTheProgramUntouched) {
    const Words words{"--", "-q", "[a,b]", "", "\x01x", "a b'c", "--json", "list"};
    for (const char* command :
         {"collect -q -- printf <%s>", "collect -qC . --var a=b --interval 5 printf <%s>",
          "-q flag run r000 f -- printf <%s>", "flag run r000 --wait 0 f printf <%s>"}) {
        EXPECT_THAT(run(Words(command).with(words)),
                    FieldsAre(0, "<--><-q><[a,b]><><\x01x><a b'c><--json><list>", ""))
            << command;
    }
    EXPECT_EQ(show("r000 collectionCommand"),
              "printf '<%s>' -- -q '[a,b]' '' '\\x01x' 'a b'\\\\''c' --json list\n");
    EXPECT_EQ(output("collect -- grep SigBlk /proc/self/status"), "SigBlk:\t0000000000000000\n");
}

TEST_F(CollectTest, NamesAreMadeOfVariables) {
    output("create result runs/old");
    const Words collect =
        "collect --name {app}-{rank}-{site}_@@ --var site=lab --into runs -- true";
    ASSERT_EQ(start(collect, "PMI_RANK=3").finish().code, 0);
    ASSERT_EQ(run(collect).code, 0);
    EXPECT_EQ(show("runs/true-3-lab_00 mpirank variables/site"), "3\nlab\n");
    EXPECT_EQ(run("show runs/true-0-lab_00 mpirank").code, 3);
    // A program may be called what a result may not.
    script("a:b?.", "");
    EXPECT_EQ(run("collect --name {app} -- ./a:b?.").code, 0);
    EXPECT_EQ(show("a_b__ variables/app"), "a_b__\n");
}

TEST_F(CollectTest, WhatAProgramWasRunWithIsKept) {
    script("bin/tool", "");
    script("own", "");
    script("hidden", "");
    fs::permissions(directory / "hidden", fs::owner_exe);
    const auto collect = [&](const std::string& path, const Words& words) {
        const std::string start = "ulimit -Sn 77; PATH=" + path +
                                  " LD_= ODD=1 NOT_OMP=1 OMP_X='a\xff' exec "
                                  "/usr/bin/env N/A=1 NO=2 $0 -q collect \"$@\"";
        return inShell(start, words).code;
    };
    ASSERT_EQ(collect("none:bin", "--env O?? --env N* --tag z --tag a --tag z tool"), 0);
    EXPECT_EQ(show("r000 programPath programDigest limits/NOFILE user/tags"),
              directory / "bin/tool" +
                  "\nsha256:a8076d3d28d21e02012b20eaf7dbf75409a6277134439025f282e368e3305abf"
                  "\n77\na z\n");
    const auto properties = json("show r000")["node"]["properties"];
    std::string names;
    for (const auto& [name, value] : properties.items()) {
        names += name.rfind("environment/", 0) == 0 ? name.substr(12) + " " : "";
    }
    EXPECT_EQ(names, "LD_ NO NOT_OMP ODD OMP_X PATH ");
    EXPECT_EQ(properties["environment/OMP_X"]["bytes"], "Yf8=");
    EXPECT_THAT(read("r000/collector.log"), HasSubstr("the variable N/A is left out"));
    // An empty place of PATH is the working directory.
    ASSERT_EQ(collect("none:", {"--note", "a\nb", "own"}), 0);
    EXPECT_EQ(show("r001 programPath user/note"), directory / "own" + "\na\\nb\n");
    if (::geteuid() != 0) {
        collect("none:", "hidden");
        EXPECT_THAT(read("r002-bad/collector.log"), HasSubstr("hidden: permission denied"));
    }
}

TEST_F(CollectTest, GitTellsTheRevisionInTime) {
    const std::string id(40, 'a');
    const auto collect = [&](const std::string& program) {
        inShell("PATH=$PWD/bin:/usr/bin:/bin exec $0 -q collect sh -c \"$1\"", {program});
        return json("show r@@@")["node"]["properties"];
    };
    fs::create_directories(directory / ".git");
    // What git does when it is asked for the revision and the state; both; what the log tells.
    for (const auto& [revision, state, kept, told] : Rows<Text, Text, std::string, Text>{
             {"echo $id", "", id + " clean", "ended"},
             {"echo hint >&2; echo $id", "echo ' M file'", id + " dirty", "ended"},
             {"echo fatal: a >&2; exit 128", "", " ", "revision is left out: fatal: a"},
             {"echo $id", "echo fatal: b >&2; exit 128", " ", "revision is left out: fatal: b"},
             {"echo $id", "exec sleep 100", id + " ", "revisionState is left out: git took"}}) {
        script("bin/git", "id=" + id + "\ncase \"$*\" in\nrev-parse*) " + revision + ";;\n*) " +
                              state + "\nesac\n");
        std::string found;
        std::string log;
        const auto isTold = [&, told = told] { return log.find(told) != std::string::npos; };
        // A machine may be too slow for an answer in time, but not always.
        for (int attempt = 0; attempt < 50 && (found != kept || !isTold()); ++attempt) {
            auto properties = collect("true");
            found = properties.value("revision", "") + " " + properties.value("revisionState", "");
            log = read(output("show r@@@ name").substr(0, 4) + "/collector.log");
        }
        EXPECT_EQ(found, kept) << told;
        EXPECT_THAT(log, HasSubstr(told));
    }
    // What git starts ends with it, and does not count as the program's.
    script("bin/git", "yes >junk &\necho $! >started\nmv started yes\nwait\n");
    const auto properties =
        collect("until [ -e yes ] && ! kill -0 $(cat yes) 2>/dev/null; do :; done");
    EXPECT_LT(properties["writtenBytes"].get<std::uint64_t>(), fs::file_size(directory / "junk"));
    // The real one finds its way, too. What it does not know makes nothing dirty.
    inShell("rm -r bin .git");
    collect("git init -q; git -c user.name=a -c user.email=a commit -q --allow-empty -m one");
    const std::string commit = inShell("git rev-parse HEAD").out;
    for (int attempt = 0; attempt < 50 && !collect("true").contains("revisionState"); ++attempt) {
    }
    EXPECT_EQ(show("r@@@ revision revisionState"), commit + "clean\n");
}

TEST_F(CollectTest, SamplesCountTheWholeTree) {
    // The writer loses its parent and sits in another session; its bytes count all the same.
    const Words writer = shell(R"(mkfifo done
(setsid sh -c 'head -c 8388608 /dev/zero > big; i=0; while [ $i -lt 100000 ]; do i=$((i+1)); done
               echo > done' &)
read x < done)",
                               "--interval 5");
    ASSERT_EQ(run(writer).code, 0);
    const auto samples = samplesIn(read("r000/data.0/samples.csv"));
    ASSERT_GE(samples.size(), 3U);
    const auto of = [](std::size_t column) {
        return [column](const auto& sample) { return std::stod(sample[column]); };
    };
    for (const std::size_t growing : {0U, 4U, 5U}) {
        EXPECT_TRUE(std::ranges::is_sorted(samples, {}, of(growing))) << growing;
    }
    EXPECT_GE(of(5)(samples.back()), 8388608);
    EXPECT_GE(of(3)(std::ranges::max(samples, {}, of(3))), 2) << "the program and its orphan";
    const double busiest = of(1)(std::ranges::max(samples, {}, of(1)));
    EXPECT_GT(busiest, 10);
    EXPECT_LE(busiest, 100.0 * static_cast<double>(::sysconf(_SC_NPROCESSORS_ONLN)) + 0.1);
    const auto properties = json("show r000")["node"]["properties"];
    EXPECT_GE(properties["writtenBytes"].get<std::int64_t>(), 8388608);
    EXPECT_GT(properties["userTimeMicroseconds"].get<std::int64_t>(), 0);
    EXPECT_EQ(properties["sampleCount"], samples.size());

    // What happens between two samples counts in the end.
    ASSERT_EQ(run(shell("head -c 100000 /dev/zero > file", "--interval 60000")).code, 0);
    const auto few = samplesIn(read("r001/data.0/samples.csv"));
    ASSERT_EQ(few.size(), 2U);
    EXPECT_GE(std::stod(few.back()[5]), 100000);
    EXPECT_FALSE(json("show r001")["node"]["properties"].contains("peakMemoryBytes"))
        << "unless the program was seen at work, it would be the collector's";
}

TEST_F(CollectTest, CaptureShowsAndSaves) {
    // What the program leaves behind keeps the streams open, but not the command.
    const auto result = run(
        shell("head -c 300000 /dev/zero | tr '\\0' x; sleep 100 & echo $! >&2", "--capture -q"));
    EXPECT_EQ(result.out, std::string(300000, 'x'));
    EXPECT_EQ(::kill(static_cast<pid_t>(std::stol(result.err)), SIGKILL), 0);
    const std::string log = read("r000/application.log");
    EXPECT_EQ(log.size(), result.out.size() + result.err.size());
    EXPECT_THAT(log, HasSubstr(result.err));
    ASSERT_EQ(run(shell("echo quiet")).out, "quiet\n");
    EXPECT_EQ(read("r001/application.log"), "");
}

TEST_F(CollectTest, AReaderThatGoesEndsTheProgram) {
    Command command = startAndAwait("y\n", shell("exec yes", "--capture"));
    command.closeOutput();
    EXPECT_EQ(command.finish().code, 128 + SIGPIPE);
    EXPECT_EQ(show("r000 state"), "finalized\n");
}

TEST_F(CollectTest, SignalsGoToTheProgramAndTheResultIsFinished) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        Command command =
            startAndAwait("up", shell("sleep 100 > sleep.out 2>&1 & "
                                      "trap 'kill $!; exit 5' INT TERM HUP QUIT; echo up; wait"));
        command.send(signal);
        EXPECT_EQ(command.finish().code, 5) << signal;
        EXPECT_EQ(show("r@@@ state exitCode"), "finalized\n5\n");
    }
}

TEST_F(CollectTest, CtrlCReachesTheProgramOnce) {
    // Whoever gets the signal twice counts two before it reads the line that follows.
    const Words counting = shell("n=0; trap 'n=$((n+1)); echo int' INT; echo up; "
                                 "read x; read x; echo total $n");
    Command command = startAndAwait("up", counting, 80);
    command.type("\x03");
    command.awaitOutput("int");
    command.type("a\n");
    command.type("b\n");
    EXPECT_THAT(command.finish(), FieldsAre(0, HasSubstr("total 1"), _));
    // Two signals that come close together may count as one.
    EXPECT_THAT(read("r000/collector.log"), Not(HasSubstr("passed on")));
}

TEST_F(CollectTest, AResultIsLeftAloneUntilItsCollectorHasEnded) {
    Command collector = startAndAwait("\n", shell("echo $$; exec sleep 100"));
    EXPECT_EQ(listed("list --state collecting"), "r000");
    EXPECT_EQ(run("set r000 remark=lost").code, 5);
    collector.send(SIGKILL);
    EXPECT_EQ(::kill(static_cast<pid_t>(std::stol(collector.output())), SIGKILL), 0)
        << "the program goes on by itself";
    collector.finish();
    EXPECT_EQ(listed("list --state orphaned"), "r000");
    EXPECT_EQ(show("r000 collectionCommand"), "sh -c 'echo $$; exec sleep 100'\n");
    EXPECT_NE(show("r000 collectionTimeBegin"), "");
    EXPECT_EQ(run("set r000 remark=kept").code, 0);
    run("collect -q -- true");
    EXPECT_EQ(json("flag list r001")["flags"].size(), 0U);
}

TEST_F(CollectTest, WhatTookThePlaceOfTheResultIsLeftAlone) {
    const std::string moved = "the one that was made is now " + (directory / "gone");
    for (const auto& [script, found, fate, left] : Rows<Text, std::string, std::string, Text>{
             {"mv r000 gone; mkdir r000; echo kept > r000/r000.zentor", "is another directory",
              moved, "r000\nr000/r000.zentor\nkept\norphaned\n"},
             {"mv r000 gone; echo kept > r000", "is no directory", moved, "r000\nkept\norphaned\n"},
             {"mv r000 gone", "is gone", moved, "orphaned\n"},
             {"rm -r r000", "is gone", "was removed", ""}}) {
        EXPECT_THAT(run(shell(script)),
                    FieldsAre(7, "", AllOf(HasSubstr("r000: " + found), HasSubstr(fate))))
            << script;
        EXPECT_EQ(inShell("find r000; cat r000 r000/*; $0 show gone state; rm -rf *").out, left)
            << script;
    }
}

TEST_F(CollectTest, TheResultFileIsApartFromTheStreams) {
    write("old", "old");
    fs::create_symlink("target", directory / "link");
    for (const std::string file : {"new", "old", "link"}) {
        EXPECT_THAT(run("collect -q --result-file " + file + " echo data"),
                    FieldsAre(0, "data\n", ""));
        const auto told = nlohmann::json::parse(read(file), nullptr, false);
        EXPECT_EQ(told["node"]["state"], "finalized") << file;
        EXPECT_EQ(told["node"]["exit"], 0);
    }
    EXPECT_TRUE(fs::is_symlink(directory / "link"));
    // The descriptor of the caller, of which nothing is lost; never one of the command's own.
    const auto shellRun = [&](const std::string& text) {
        return inShell("$0 -q collect --name d@@ --result-file " + text);
    };
    EXPECT_EQ(shellRun("/dev/fd/3 true 3>>old").code, 0);
    const std::string old = read("old");
    EXPECT_EQ(std::count(old.begin(), old.end(), '\n'), 2);
    EXPECT_EQ(shellRun("/dev/fd/3 true 3>&-").code, 2);
    EXPECT_EQ(shellRun("none/file true").code, 3);
    EXPECT_FALSE(exists("d01")) << "refused before anything was made";
    // Not by its own name: a mistake would replace the device.
    fs::create_symlink("/dev/full", directory / "full");
    EXPECT_THAT(shellRun("full true"),
                FieldsAre(7, "", AllOf(HasSubstr("no space left"), HasSubstr("d01 is whole"))));
    EXPECT_EQ(show("d01 state"), "finalized\n");
}

}  // namespace
