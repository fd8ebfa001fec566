#include <sys/inotify.h>

#include "cli_test.h"

namespace {

/// Results of runs: "ok" that took a while, "bad" that failed, "cut" that a signal ended, and
/// "empty", in which nothing was run.
class CliSelectTest : public CliTest {
protected:
    void SetUp() override {
        output("collect -q --name ok -- sleep 0.2");
        EXPECT_EQ(run("collect -q --name bad -- false").code, 1);
        EXPECT_EQ(run({"collect", "-q", "--name", "cut", "--", "sh", "-c", "kill $$"}).code, 143);
        output("create result empty");
        output({"set", "ok", "threads=4", "text=it's (a) b"});
        output("set bad threads=16 ratio=1.50");
    }
    std::string where(const std::string& expression) {
        return listed({"list", "--where", expression});
    }
};

TEST_F(CliSelectTest, FactsAndPropertiesAreCompared) {
    const std::string today = json("list")["nodes"][0]["when"].get<std::string>();
    const std::string minute = today.substr(0, 16) + "Z";
    const std::string inIt = "when=" + minute + " and name=bad: bad; ";
    const std::string later = "when>" + minute + " and name=bad: ; ";
    for (const auto& [expression, expected] :
         pairs(inIt + later +
               "elapsed>150ms: ok; elapsed>=0.15 and elapsed<1m: ok; elapsed<150ms: bad cut; "
               "exit!=0: bad cut empty; exit and exit!=0: bad cut; exit=143 or exit=1: bad cut; "
               "not exit: empty; state=incomplete or threads>4: bad empty; "
               "ratio>1.25 and ratio=1.5 and ratio<x: bad; threads!=4: bad cut empty; "
               "text='it''s (a) b': ok; text=~\"it's*\" and text!~x: ok; "
               "name=~'[a-d]*' and not (name=bad): cut; size>1T or rank=0 or link=stale: ; "
               "memory>1K and memory<1T and cpu<1h and name=ok: ok; "
               "age<1h and when>2020-01-01: bad cut empty ok; "
               "command=~'sleep*' and kind=result: ok; name=ok and name=bad or name=cut: cut")) {
        EXPECT_EQ(where(expression), expected) << expression;
    }
    EXPECT_EQ(json("list --where exit=0 --where threads=4 --sort when")["nodes"].size(), 1U);
    EXPECT_THAT(run("list --where elapsd>2s").err, HasSubstr("did you mean 'elapsed'?"));
}

TEST_F(CliSelectTest, WhatCannotBeReadIsShownWhereItMatters) {
    write("bad/bad.zentor", "<");
    EXPECT_EQ(where("exit=0"), "bad ok");
    EXPECT_EQ(where("exit=0 and name=ok"), "ok");
    EXPECT_EQ(where("state=unreadable or exit=143"), "bad cut");
}

TEST_F(CliSelectTest, ErrorsPointAtTheColumn) {
    for (const auto& [expression, message] :
         Rows<std::string, Text>{{"elapsed>2x", "column 9: 2x is not a duration such as"},
                                 {"memory<1Q", "column 8: 1Q is not a size"},
                                 {"when<2026-02-30", "column 6: 2026-02-30 is not a day"},
                                 {"rank=one", "column 6: one is not a whole number"},
                                 {"state=finalised", "column 7: finalised is none of incomplete"},
                                 {"(exit=0", "column 8: expected ')'"},
                                 {"exit=0 exit=1", "column 8: expected 'and', 'or' or the end"},
                                 {"exit=0 and", "column 11: expected a key"},
                                 {"or exit=0", "column 3: expected a comparison before it"},
                                 {"name='x", "column 6: the quote does not end"},
                                 {"exit=", "column 6: expected a value"},
                                 {"", "column 1: expected a key"},
                                 {std::string(101, '('), "column 101: too many levels"}}) {
        EXPECT_THAT(run({"list", "--where", expression}), FieldsAre(2, "", HasSubstr(message)))
            << expression;
    }
}

TEST_F(CliSelectTest, CommandsTakeWhatIsSelected) {
    for (const auto& [selector, expected] :
         pairs("[bc]*: bad cut; ok * ./ok: ok bad cut empty; * --where exit>0: bad cut; "
               "ok cut --where name=cut: cut")) {
        EXPECT_EQ(listed("list " + selector), expected) << selector;
    }
    write("bad/bad.zentor", "<");
    EXPECT_EQ(run("remove * -y --where exit=0").code, 7);
    EXPECT_EQ(run("remove * -y --where exit=5 --where name=ok").code, 3);
    EXPECT_EQ(output("remove -y --where name=~e*"), directory / "empty\n");
    EXPECT_EQ(listed("list"), "bad cut ok");
}

TEST_F(CliSelectTest, NamesAreThoseThatCommandsTake) {
    output("rename ok good");
    createResults("good2 twin2");
    output("rename good2 twin");
    for (const char* taken : {"twin", "ok", "good2"}) {
        EXPECT_EQ(run(Words("rename twin2").with(taken)).code, 4) << taken;
    }
    EXPECT_EQ(run("rename twin2 x@@").code, 2);
    fs::rename(directory / "twin2/twin2.zentor", directory / "twin2/twin.zentor");
    EXPECT_EQ(show("good path"), directory / "ok\n");
    EXPECT_EQ(listed("list --sort name"), "bad cut empty good good2/twin.zentor twin2/twin.zentor");
    EXPECT_EQ(show("twin2/twin.zentor path"), directory / "twin2\n");
    EXPECT_THAT(run("show twin").err, HasSubstr("several nodes have this name"));
    // A directory of that name would be taken for the node.
    fs::rename(directory / "cut/cut.zentor", directory / "cut/ok.zentor");
    EXPECT_EQ(listed("list -q"), "bad cut/ok.zentor empty good good2/twin.zentor "
                                 "twin2/twin.zentor");
}

TEST_F(CliSelectTest, ManyNamesNeedOneListing) {
    Words names("");
    for (int i = 0; i < 9; ++i) {
        const std::string name = "n" + std::to_string(i);
        output("create result " + name);
        output("rename " + name + " other" + name);
        names.push_back("other" + name);
    }
    for (const Words& words : {Words("show").with(names).with("--key kind"),
                               Words("show").with(names).with("hostname timestamp kind")}) {
        const int events = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        // Each opening is parted from the next by its end: the same event twice would be one.
        constexpr unsigned both = IN_OPEN | IN_CLOSE_NOWRITE | IN_CLOSE_WRITE;
        const int group = ::inotify_add_watch(events, directory.path().c_str(), both);
        ::inotify_add_watch(events, (directory / "n0").c_str(), both);
        output(words);
        std::multiset<std::string> opened;
        alignas(inotify_event) std::array<char, 65536> buffer{};
        const ssize_t size = ::read(events, buffer.data(), buffer.size());
        for (const char* at = buffer.data(); at < buffer.data() + size;) {
            const auto* const event = reinterpret_cast<const inotify_event*>(at);
            if ((event->mask & IN_OPEN) != 0) {
                opened.insert((event->wd == group ? "group/" : "n0/") +
                              std::string(event->len != 0 ? event->name : ""));
            }
            at += sizeof(inotify_event) + event->len;
        }
        ::close(events);
        // The opening of a node may look whether it lies in a project.
        EXPECT_LE(opened.count("group/"), 2 + names.size()) << testing::PrintToString(words);
        EXPECT_GT(opened.count("group/"), 0U);
        EXPECT_LE(opened.count("n0/othern0.zentor"), 5U) << testing::PrintToString(words);
    }
}

TEST_F(CliSelectTest, ListsAreSortedCountedAndFormatted) {
    output("set empty user/tags='a");
    output({"set", "ok", "user/tags=a b"});
    EXPECT_EQ(listed("list --sort threads,name --reverse"), "bad ok empty cut");
    EXPECT_EQ(listed("list --sort elapsed --reverse --limit 1"), "ok");
    EXPECT_EQ(output("list --columns name,threads,tag --sort threads --format csv"),
              "name,threads,tag\r\nok,4,\"a,b\"\r\nbad,16,\r\ncut,,\r\nempty,,'a\r\n");
    EXPECT_EQ(output("list ok bad --format tsv --columns threads,exit"),
              "threads\texit\n4\t0\n16\t1\n");
    const std::string lines = output("list --format jsonl --limit 2 --columns exit");
    const auto first = nlohmann::json::parse(lines.substr(0, lines.find('\n')));
    EXPECT_EQ(first["node"]["values"]["exit"], 1);
    EXPECT_EQ(first["node"]["tags"], nlohmann::json::array());
    EXPECT_EQ(output("list --group-by tag --columns threads"),
              "'a\t1\tthreads\t-\t-\t-\na\t1\tthreads\t4\t4\t4\n"
              "b\t1\tthreads\t4\t4\t4\n-\t2\tthreads\t16\t16\t16\n");
    EXPECT_EQ(json("list --group-by kind --columns threads")["groups"][0]["measures"]["threads"],
              nlohmann::json::parse(R"({"count": 2, "min": 4, "median": 10, "max": 16})"));
    write("bad/bad.zentor", "x");  // what is unknown of it is no difference
    EXPECT_THAT(start("list", "NO_COLOR=1", 200).finish().out,
                AllOf(HasSubstr("TAGS"), HasSubstr("ms  "), Not(HasSubstr("HOST")),
                      Not(HasSubstr("KIND"))));
}

using CliOrderTest = CliTest;

TEST_F(CliOrderTest, TheGreatestNumberIsTheNewest) {
    createResults("r1000 r999 r1001 r998 a-10b2 a-9b10 a-010b1");
    EXPECT_EQ(listed("list --mask *"), "a-9b10 a-010b1 a-10b2 r998 r999 r1000 r1001");
    EXPECT_EQ(listed("list --reverse --limit 2"), "r1001 r1000");
    EXPECT_EQ(show("r@@@ name"), "r1001\n");
    EXPECT_EQ(json("diff r@@@")["nodes"][0]["name"], "r1000");
    output("purge . --keep 2 -y");
    EXPECT_EQ(listed("list --mask r@@@"), "r1000 r1001");
}

}  // namespace
