#include <regex>

#include "cli_test.h"

namespace {

using NodesTest = CliTest;

TEST_F(NodesTest, NamesAreBytes) {
    output("create project p");
    for (const auto& [name, shown, inJson] : Rows<std::string, std::string, nlohmann::json>{
             {"two words", "two words", "two words"},
             {"a\nb\tc", "a\\nb\\tc", "a\nb\tc"},
             {"\x1b[31mred", "\\x1B[31mred", "\x1b[31mred"},
             {"r\xc3\xa4\xe2\x82\xac", "r\xc3\xa4\xe2\x82\xac", "r\xc3\xa4\xe2\x82\xac"},
             {"\xe2\x80\xaetxt", "\\xE2\\x80\\xAEtxt", "\xe2\x80\xaetxt"},
             {"bad\xff", "bad\\xFF", {{"bytes", "YmFk/w=="}}},
             {"-dash", "-dash", "-dash"}}) {
        EXPECT_EQ(output({"create", "result", "--", name}), directory / name + "\n");
        EXPECT_EQ(output({"show", "--", name, "name"}), shown + "\n");
        EXPECT_EQ(json({"show", "--", name, "name"})["node"]["values"]["name"], inJson);
        EXPECT_THAT(output("list"), HasSubstr(shown + "\tincomplete\t"));
        EXPECT_THAT(json("list")["nodes"].dump(), HasSubstr(inJson.dump()));
        EXPECT_EQ(output({"get", "--", name}), directory / name + "\n");
        output({"add", "--to", "p", "--", name});
        EXPECT_EQ(output({"show", "p/" + name + ".zentorlink", "path"}), directory / shown + "\n");
    }
}

TEST_F(NodesTest, ListFiltersSortsAndLimits) {
    for (const char* script : {"exit 0", "exit 1 # longer", "kill -9 $$"}) {
        run({"collect", "-q", "--", "sh", "-c", script});
    }
    createResults("r@@@ other");
    run("collect -q --name s0 -- no-such-program");
    write("r000/ballast", std::string(100000, 'x'));
    for (const auto& [options, expected] :
         pairs(": other r000 r001 r002 r003 s0-bad; --mask r@@@: r000 r001 r002 r003; "
               "--mask none@@: ; --state finalized: r000 r001 r002; --state invalid: s0-bad; "
               "--state incomplete --reverse: r003 other; --reverse --limit 2: s0-bad r003; "
               "--mask r@@@ --state finalized --reverse --limit 1: r002; "
               "--sort size --reverse --limit 1: r000; "
               "--sort command --mask r@@@: r000 r001 r002 r003")) {
        EXPECT_EQ(listed("list " + options), expected) << options;
    }
    EXPECT_THAT(output("list -l --state finalized"), HasSubstr(directory / "r000"));
}

TEST_F(NodesTest, AnUnreadableMarkerIsShownAndNeverOverwritten) {
    createResults("r000 r001");
    write("r000/r000.zentor", "<bag v=");
    EXPECT_EQ(listed("list --state unreadable"), "r000");
    for (const char* refused : {"show r000", "rename r000 q", "set r000 a=b", "diff r000 r001"}) {
        EXPECT_THAT(run(refused),
                    FieldsAre(7, _, AllOf(HasSubstr("r000.zentor: "), HasSubstr("restore it"))))
            << refused;
    }
    EXPECT_EQ(read("r000/r000.zentor"), "<bag v=");
}

TEST_F(NodesTest, SetChangesAllOrNothing) {
    run("collect -q -- true");
    EXPECT_EQ(output({"set", "r000", "remark=a=b c", "exitCode=-3", "site/room=12"}),
              directory / "r000\n");
    EXPECT_EQ(show("r000 remark exitCode site/room"), "a=b c\n-3\n12\n");
    EXPECT_THAT(read("r000/r000.zentor"), HasSubstr("<int32 n=\"exitCode\">-3</int32>"));
    EXPECT_EQ(json("set r000 exitCode=4")["nodes"][0]["exit"], 4);
    const std::string before = read("r000/r000.zentor");
    for (const std::string& refused :
         words("exitCode=four exitCode=4x exitCode=99999999999 elapsedMicroseconds=-1 "
               "finalizationTimeEnd= variables=x remark/below=1 a//b=1 =x timestamp=5 "
               "backlink=/elsewhere mpirank=1 elapsed=3 note=x")) {
        EXPECT_EQ(run("set r000 other=1 " + refused).code, 2) << refused;
        EXPECT_EQ(read("r000/r000.zentor"), before) << refused;
    }
    output("set r000 --unset site/room --unset none");
    EXPECT_EQ(run("show r000 site/room").code, 3);
    // A number even where there is none yet.
    output("create result r001");
    EXPECT_EQ(run("set r001 collectionTimeBegin=soon").code, 2);
    EXPECT_EQ(run("set r001 collectionTimeBegin=1000000000").code, 0);
    EXPECT_THAT(read("r001/r001.zentor"),
                HasSubstr("<uint64 n=\"collectionTimeBegin\">1000000000"));
    EXPECT_EQ(json("list --mask r001")["nodes"][0]["when"], "2001-09-09T01:46:40Z");
}

TEST_F(NodesTest, PeopleSayWhatTheyThinkOfResults) {
    createResults("a b c");
    EXPECT_EQ(output("tag a b +slow +O3"), (directory / "a\n") + (directory / "b\n"));
    output("tag * -slow +x --where tag=slow");
    EXPECT_EQ(show("a b tag"), "O3,x\nO3,x\n");
    EXPECT_EQ(listed("list --where tag=x"), "a b");
    output({"note", "c", "the one to keep"});
    output("pin --where note");
    EXPECT_EQ(show("c note pinned"), "the one to keep\nyes\n");
    EXPECT_EQ(json("unpin c")["nodes"][0]["pinned"], false);
    output({"note", "c", ""});
    // A node behind the first is told from a key.
    EXPECT_EQ(json("show a b name")["nodes"][1]["values"]["name"], "b");
    // One that cannot be changed keeps the others from it.
    write("b/b.zentor", "<");
    EXPECT_EQ(run("tag a b c +late").code, 7);
    EXPECT_EQ(listed("list --where tag=late"), "b") << "of b nobody knows";
    for (const char* refused :
         {"tag a", "tag +x", "tag a +", "tag a +a,b", "set a", "set a kind=x", "pin", "note a"}) {
        EXPECT_EQ(run(refused).code, 2) << refused;
    }
}

TEST_F(NodesTest, DiffTellsFilesAndPropertiesApart) {
    for (const std::string name : {"a", "b"}) {
        output("create result " + name);
        write(name + "/same", std::string(300000, 's'));
        write(name + "/sub/long", std::string(200000, 'x') + name);
        output("set " + name + " remark=" + name + " exitCode=" + std::to_string(name[0]));
    }
    write("a/gone", "1");
    write("b/new\nline", "22");
    write("b/.norun", "");
    const auto result = run("diff a b");
    EXPECT_EQ(result.code, 1);
    run("collect -q -- true");
    run("collect -q -- true");
    EXPECT_EQ(json("diff r@@@")["same"], true) << "measurements are not judged";
    EXPECT_EQ(listed("diff r@@@"), "r000 r001");
    EXPECT_EQ(run("diff r000").code, 3);
    EXPECT_EQ(run("diff a ./a").code, 2);
    // The two may have been made in different seconds.
    const std::string shown = std::regex_replace(result.out, std::regex("time\ttimestamp.*\n"), "");
    EXPECT_EQ(shown, "result\tname\ta\tb\t-\t-\n"
                     "property\tstate\tincomplete\tfinalized\tchanged\t-\n"
                     "property\tremark\ta\tb\tchanged\t-\n"
                     "property\texitCode\t97\t98\t+1\t+1.0%\n"
                     "file\tgone\t1\t-\tremoved\t-\n"
                     "file\tnew\\nline\t-\t2\tadded\t-\n"
                     "file\tsub/long\t200001\t200001\tline 1\t-\n");
}

TEST_F(NodesTest, ManyAreComparedWithOneAndWithinATolerance) {
    createResults("a b c");
    output("set a elapsedMicroseconds=1000 rate=2.5");
    output("set b elapsedMicroseconds=1049 rate=2.6");
    output("set c elapsedMicroseconds=940");
    for (const auto& [arguments, code] :
         Rows<std::string, int>{{"a b", 1},  // the rate differs
                                {"a b --tolerance rate=5%", 0},
                                {"a b --tolerance rate=5% --tolerance 5%", 0},
                                {"a b --tolerance rate=5% --tolerance elapsed=4.8%", 1},
                                {"--reference b a --tolerance rate=5% --tolerance elapsed=4.8%", 0},
                                {"a b --tolerance rate=3%", 1},
                                {"a c --tolerance rate=100%", 1},
                                {"a b c --tolerance=none", 2},
                                {"a b --tolerance other=5%", 2},
                                {"a a", 2}}) {
        EXPECT_EQ(run("diff " + arguments).code, code) << arguments;
    }
    EXPECT_THAT(run("diff --where name --reference b").out,
                AllOf(HasSubstr("result\tname\tb\ta\tc\n"),
                      // What is judged comes first.
                      HasSubstr("property\trate\t2.6\t2.5\t-\n"
                                "measurement\telapsedMicroseconds\t1049\t1000\t940\n")));
    const std::string people = start("diff a b c", "NO_COLOR=1", 100).finish().out;
    EXPECT_THAT(people, AllOf(HasSubstr("1.00ms"), HasSubstr("940us -6.0%")));
    const std::string pair = start("diff a b", "NO_COLOR=1", 100).finish().out;
    EXPECT_THAT(pair, HasSubstr(" 1.05ms    +49us    +4.9%\r\n"));
}

TEST_F(NodesTest, GetMakesOpensAndRepairs) {
    const std::string path = directory / "r1" + "\n";
    EXPECT_EQ(output("get r1"), path);
    output("set r1 remark=kept");
    EXPECT_THAT(run("-v get r1"), FieldsAre(0, path, "")) << "that it is there is no error";
    EXPECT_EQ(show("r1 remark"), "kept\n");
    EXPECT_EQ(output("get --literal q@@"), directory / "q@@\n");
    write("expt/expt.zentorexp", "<bag v=\"1\"/>");
    EXPECT_EQ(run("get expt").code, 4);
}

TEST_F(NodesTest, OverwriteReplacesResultsAlone) {
    output("create result r1");
    EXPECT_EQ(run("create result r1").code, 4);
    EXPECT_THAT(run("create result r1 --overwrite").err, HasSubstr("give -y"));
    for (const auto& [answer, code] : {std::pair{"\n", 1}, {"y\n", 0}}) {
        output("finalize r1");
        Command command = startAndAwait("[y/N]", "create result r1 --overwrite", 80);
        command.type(answer);
        EXPECT_EQ(command.finish().code, code);
        EXPECT_EQ(show("r1 state"), code == 0 ? "incomplete\n" : "finalized\n");
    }
    output("create result r1 --overwrite -y");
    output("create result r2 --overwrite");
    write("home/precious", "x");
    for (const std::string name : {"home", "{place}", "home/none.zentor", "."}) {
        EXPECT_EQ(run("create result -y --overwrite --var place=home " + name).code, 4) << name;
    }
    EXPECT_EQ(read("home/precious"), "x");
}

TEST_F(NodesTest, ATerminalGetsAlignedHarmlessLines) {
    createResults("\x1b]0;title\x07 \xe7\xb5\x90\xe6\x9e\x9c");
    run("collect -q -- true " + std::string(200, 'x'));
    const std::string out = start("list", "NO_COLOR=1", 72).finish().out;
    EXPECT_THAT(out,
                AllOf(Not(HasSubstr("\x1b")), HasSubstr("NAME "), HasSubstr("\xe2\x80\xa6\r\n"),
                      HasSubstr("\r\n\xe7\xb5\x90\xe6\x9e\x9c              incomplete")));
    std::istringstream lines(out);
    std::size_t widest = 0;
    for (std::string line; std::getline(lines, line);) {
        widest = std::max(widest, line.find_last_not_of("\r\n") + 1);
    }
    EXPECT_GT(widest, 60U);
    EXPECT_LE(widest, 72U + 2U) << "an ellipsis has two bytes more than columns";
    run("collect -q -- false");
    EXPECT_THAT(output("list --color always"),
                AllOf(HasSubstr("\x1b[31m1\x1b[0m"), HasSubstr("\tfinalized\t")));
    output("create result " + std::string(31, '\x02'));
    std::string accents = "a";
    for (int i = 0; i < 50; ++i) {
        accents += "e\xcc\x81";
    }
    output("create result " + accents);
    for (const int width : {60, 61, 62, 63}) {
        EXPECT_THAT(start("list", "NO_COLOR=1", width).finish().out,
                    AllOf(testing::ContainsRegex("\n(\\\\x02)+\xe2\x80\xa6(\\\\x02)+ "),
                          Not(HasSubstr("\xe2\x80\xa6\xcc\x81"))))
            << "what is written as several characters is not cut";
    }
}

TEST_F(NodesTest, WhatWasRemovedBeforeAFailureIsTold) {
    for (const char* json : {"", "--json "}) {
        inShell("for name in a0 a1 a2; do $0 get $name; done");
        write("a1/stuck", "");
        EXPECT_THAT(run(std::string(json) + "remove -y a0 a1 a2", {"LD_PRELOAD=" LYING_CALLS}),
                    FieldsAre(7, AllOf(HasSubstr("/a0"), Not(HasSubstr("/a1"))), HasSubstr("a1")));
        EXPECT_FALSE(exists("a0"));
        EXPECT_EQ(listed("list ."), "a1 a2");
    }
}

}  // namespace
