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
        const nlohmann::json listing = json({"list", "--where", expression});
        std::string names;
        for (const auto& node : listing["nodes"]) {
            names.append(names.empty() ? "" : " ").append(node["name"].get<std::string>());
        }
        return names;
    }
};

TEST_F(CliSelectTest, FactsAndPropertiesAreCompared) {
    const std::string today = json("list")["nodes"][0]["when"].get<std::string>();
    const std::string minute = today.substr(0, 16) + "Z";
    for (const auto& [expression, expected] : std::vector<std::pair<std::string, std::string>>{
             {"elapsed>150ms", "ok"},
             {"elapsed>=0.15 and elapsed<1m", "ok"},
             {"elapsed<150ms", "bad cut"},
             {"exit!=0", "bad cut empty"},
             {"exit and exit!=0", "bad cut"},
             {"exit=143 or exit=1", "bad cut"},
             {"not exit", "empty"},
             {"state=incomplete or threads>4", "bad empty"},
             {"ratio>1.25 and ratio=1.5 and ratio<x", "bad"},
             {"threads!=4", "bad cut empty"},
             {"text='it''s (a) b'", "ok"},
             {"text=~\"it's*\" and text!~x", "ok"},
             {"name=~'[a-d]*' and not (name=bad)", "cut"},
             {"memory>1K and memory<1T and cpu<1h", "bad cut ok"},
             {"size>1T or rank=0 or link=stale", ""},
             {"age<1h and when>2020-01-01", "bad cut empty ok"},
             {"when=" + minute + " and name=bad", "bad"},
             {"when>" + minute + " and name=bad", ""},
             {"command=~'sleep*' and kind=result", "ok"},
             {"name=ok and name=bad or name=cut", "cut"}}) {
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
    for (const auto& [expression, message] : std::vector<std::pair<std::string, const char*>>{
             {"elapsed>2x", "column 9: 2x is not a duration such as"},
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
        const auto result = run({"list", "--where", expression});
        EXPECT_EQ(result.code, 2) << expression;
        EXPECT_THAT(result.err, HasSubstr(message));
        EXPECT_EQ(result.out, "");
    }
}

using CliOrderTest = CliTest;

TEST_F(CliOrderTest, TheGreatestNumberIsTheNewest) {
    for (const char* name : {"r1000", "r999", "r1001", "r998", "a-10b2", "a-9b10", "a-010b1"}) {
        output(std::string("create result ") + name);
    }
    EXPECT_EQ(listed("--mask *"), "a-9b10 a-010b1 a-10b2 r998 r999 r1000 r1001");
    EXPECT_EQ(listed("--reverse --limit 2"), "r1001 r1000");
    EXPECT_EQ(show("r@@@ name"), "r1001\n");
    EXPECT_EQ(json("diff r@@@")["old"], directory / "r1000");
    EXPECT_EQ(output("purge . --keep 2 -y"), (directory / "r998\n") + (directory / "r999\n"));
}

}  // namespace
