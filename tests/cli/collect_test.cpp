#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "cli_test.h"

namespace {

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
        const auto result = run(Words("collect --").with(program));
        EXPECT_EQ(result.code, code) << program.back();
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_THAT(result.err, HasSubstr(told));
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
        const auto result = run(Words(command).with(words));
        EXPECT_EQ(result.out, "<--><-q><[a,b]><><\x01x><a b'c><--json><list>") << command;
        EXPECT_EQ(result.err, "");
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
    write("a:b?.", "#!/bin/sh\n");
    fs::permissions(directory / "a:b?.", fs::owner_all);
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
                                  "/usr/bin/env N/A=1 NO=2 " VESTA2_COMMAND " -q collect \"$@\"";
        return Command(Words{"-c", start, "sh"}.with(words),
                       {directory.path().native(), {}, 0, "sh"})
            .finish()
            .code;
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
        const std::string path = "PATH=" + directory / "bin" + ":/usr/bin:/bin";
        Command({path, VESTA2_COMMAND, "-q", "collect", "sh", "-c", program},
                {directory.path().native(), {}, 0, "env"})
            .finish();
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
        bool isAsExpected = false;
        // A machine may be too slow for an answer in time, but not always.
        for (int attempt = 0; attempt < 50 && !isAsExpected; ++attempt) {
            auto properties = collect("true");
            const std::string name = output("show r@@@ name");
            const std::string log = read(name.substr(0, 4) + "/collector.log");
            isAsExpected =
                properties.value("revision", "") + " " + properties.value("revisionState", "") ==
                    kept &&
                log.find(told) != std::string::npos;
        }
        EXPECT_TRUE(isAsExpected) << told;
    }
    // What git starts ends with it, and does not count as the program's.
    script("bin/git", "yes >junk &\necho $! >started\nmv started yes\nwait\n");
    const auto properties =
        collect("until [ -e yes ] && ! kill -0 $(cat yes) 2>/dev/null; do :; done");
    EXPECT_LT(properties["writtenBytes"].get<std::uint64_t>(), fs::file_size(directory / "junk"));
    // The real one finds its way, too. What it does not know makes nothing dirty.
    fs::remove_all(directory / "bin");
    fs::remove_all(directory / ".git");
    collect("git init -q; git -c user.name=a -c user.email=a commit -q --allow-empty -m one");
    const std::string head = read(".git/HEAD").substr(5);
    const std::string commit = read(".git/" + head.substr(0, head.size() - 1));
    for (int attempt = 0; attempt < 50 && !collect("true").contains("revisionState"); ++attempt) {
    }
    EXPECT_EQ(show("r@@@ revision revisionState"), commit + "clean\n");
}

TEST_F(CollectTest, SamplesCountTheWholeTree) {
    // The writer loses its parent and sits in another session; its bytes count all the same.
    ASSERT_EQ(run(shell(R"(mkfifo done
(setsid sh -c 'head -c 8388608 /dev/zero > big; i=0; while [ $i -lt 100000 ]; do i=$((i+1)); done
               echo > done' &)
read x < done)",
                        "--interval 5"))
                  .code,
              0);
    const auto samples = samplesIn(read("r000/data.0/samples.csv"));
    ASSERT_GE(samples.size(), 3U);
    double busiest = 0;
    double most = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        busiest = std::max(busiest, std::stod(samples[i][1]));
        most = std::max(most, std::stod(samples[i][3]));
        for (const std::size_t growing : {0U, 4U, 5U}) {
            EXPECT_GE(std::stod(samples[i][growing]), std::stod(samples[i ? i - 1 : 0][growing]));
        }
    }
    EXPECT_GE(std::stod(samples.back()[5]), 8388608);
    EXPECT_GE(most, 2) << "the program and its orphan";
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
    Command command = start(shell("exec yes", "--capture"));
    ASSERT_TRUE(command.awaitOutput("y\n"));
    command.closeOutput();
    EXPECT_EQ(command.finish().code, 128 + SIGPIPE);
    EXPECT_EQ(show("r000 state"), "finalized\n");
}

TEST_F(CollectTest, SignalsGoToTheProgramAndTheResultIsFinished) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        Command command = start(shell("sleep 100 > sleep.out 2>&1 & "
                                      "trap 'kill $!; exit 5' INT TERM HUP QUIT; echo up; wait"));
        ASSERT_TRUE(command.awaitOutput("up"));
        command.send(signal);
        EXPECT_EQ(command.finish().code, 5) << signal;
        EXPECT_EQ(show("r@@@ state exitCode"), "finalized\n5\n");
    }
}

TEST_F(CollectTest, CtrlCReachesTheProgramOnce) {
    // Whoever gets the signal twice counts two before it reads the line that follows.
    Command command = start(shell("n=0; trap 'n=$((n+1)); echo int' INT; echo up; "
                                  "read x; read x; echo total $n"),
                            {}, 80);
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

TEST_F(CollectTest, AResultIsLeftAloneUntilItsCollectorHasEnded) {
    Command collector = start(shell("echo $$; exec sleep 100"));
    ASSERT_TRUE(collector.awaitOutput("\n"));
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
    for (const auto& [script, found, fate] : Rows<std::string, Text, std::string>{
             {"mv r000 gone; mkdir r000; echo kept > r000/r000.zentor", "is another directory",
              moved},
             {"mv r000 gone; echo kept > r000", "is no directory", moved},
             {"mv r000 gone", "is gone", moved},
             {"rm -r r000", "is gone", "was removed"}}) {
        const auto result = run(shell(script));
        EXPECT_EQ(result.code, 7) << script;
        EXPECT_THAT(result.err, AllOf(HasSubstr("r000: " + std::string(found)), HasSubstr(fate)));
        if (fs::is_directory(directory / "r000")) {
            EXPECT_EQ(read("r000/r000.zentor"), "kept\n");
            EXPECT_THAT(namesIn(directory / "r000"), ElementsAre("r000.zentor"));
        } else {
            EXPECT_EQ(exists("r000"), script.find("kept") != std::string::npos) << script;
        }
        if (exists("gone")) {
            EXPECT_EQ(show("gone state"), "orphaned\n");
        }
        fs::remove_all(directory / "r000");
        fs::remove_all(directory / "gone");
    }
}

TEST_F(CollectTest, TheResultFileIsApartFromTheStreams) {
    write("old", "old");
    fs::create_symlink("target", directory / "link");
    for (const std::string file : {"new", "old", "link"}) {
        const auto result = run(Words("collect -q --result-file " + file + " echo data"));
        EXPECT_EQ(result.out + result.err, "data\n") << file;
        const auto told = nlohmann::json::parse(read(file), nullptr, false);
        EXPECT_EQ(told["node"]["state"], "finalized") << file;
        EXPECT_EQ(told["node"]["exit"], 0);
    }
    EXPECT_TRUE(fs::is_symlink(directory / "link"));
    // The descriptor of the caller, of which nothing is lost; never one of the command's own.
    const auto shellRun = [&](const std::string& text) {
        return Command({"-c", VESTA2_COMMAND " -q collect --name d@@ --result-file " + text},
                       {directory.path().native(), {}, 0, "sh"})
            .finish();
    };
    EXPECT_EQ(shellRun("/dev/fd/3 true 3>>old").code, 0);
    const std::string old = read("old");
    EXPECT_EQ(std::count(old.begin(), old.end(), '\n'), 2);
    EXPECT_EQ(shellRun("/dev/fd/3 true 3>&-").code, 2);
    EXPECT_EQ(shellRun("none/file true").code, 3);
    EXPECT_FALSE(exists("d01")) << "refused before anything was made";
    // Not by its own name: a mistake would replace the device.
    fs::create_symlink("/dev/full", directory / "full");
    const auto full = shellRun("full true");
    EXPECT_EQ(full.code, 7);
    EXPECT_THAT(full.err, AllOf(HasSubstr("no space left"), HasSubstr("d01 is whole")));
    EXPECT_EQ(show("d01 state"), "finalized\n");
}

}  // namespace
