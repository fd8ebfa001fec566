#include <csignal>
#include <regex>

#include "cli_test.h"

namespace {

using JsonTest = CliTest;

TEST_F(JsonTest, EveryCommandPrintsTheOneShape) {
    output("create project p");
    output("create result far/x");
    output("add far/x --to p");
    fs::rename(directory / "far/x", directory / "far/y");
    write("foreign/run.other", "<?xml version=\"1.0\"?><bag v=\"1\"/>");
    write("p/.mark", "");
    std::set<std::string> seen;
    // A command, the member that it prints, the same command when it fails, and the code.
    for (const auto& [words, member, failing, code] : Rows<Words, Text, Words, int>{
             {"collect -- true", "node", "collect --into none true", 3},
             {"create result r1", "node", "create result a:b", 2},
             {"get r2", "node", "get p", 4},
             {"list -r -l --columns age,pinned", "nodes", "list none", 3},
             {"list --format jsonl --kind project", "nodes", "list none --format json", 3},
             {"list --group-by kind --format jsonl", "groups", "list --group-by", 2},
             {"show r1", "node", "show none", 3},
             {"show r1 p name", "nodes", "show r1 nokey", 3},
             {"set r1 a=b", "nodes", "set r1", 2},
             {"tag r1 +a +b", "nodes", "tag none +a", 3},
             {"note r1 text", "nodes", "note none text", 3},
             {"pin r1", "nodes", "pin none", 3},
             {"unpin r1", "nodes", "unpin none", 3},
             {"diff r000 r1", "same", "diff r1 none", 3},
             {"files r000", "files", "files p", 2},
             {"relink p/x.zentorlink far/y", "node", "relink r1 p", 2},
             {"add r1 --to p", "nodes", "add r1", 2},
             {"unlink p/r1", "nodes", "unlink none", 3},
             {"rename r1 one", "node", "rename none x", 3},
             {"copy r2 c1", "node", "copy none x", 3},
             {"move c1 c2", "node", "move c2 none/x", 3},
             {"duplicate r000 d@@", "node", "duplicate r000 a:b", 2},
             {"export r000 e1", "node", "export r000 none/x", 3},
             {"import foreign --ext other", "node", "import r000 --ext *", 2},
             {"flag list r000", "flags", "flag list none", 3},
             {"flag run r000 mine -- true", "", "flag set r000 ..", 2},
             {"finalize d00", "nodes", "finalize p", 2},
             {"invalidate d00", "nodes", "invalidate p", 2},
             {"remove --dry-run e1", "dryRun", "remove -y none", 3},
             {"purge . --keep 1 -y", "dryRun", "purge / --keep 1 -y", 2},
             {"check p", "findings", "check none", 3},
             {"doctor", "trials", "doctor none", 3}}) {
        const support::CommandResult result = run(Words("--json").with(words));
        const std::string& printed = words.front() == "collect" ? result.err : result.out;
        const auto answer = nlohmann::json::parse(printed, nullptr, false);
        EXPECT_TRUE(*member ? answer.contains(member) : printed.empty())
            << testing::PrintToString(words) << printed << result.err;
        EXPECT_EQ(error(failing)["code"], code) << testing::PrintToString(failing);
        seen.insert(words.front());
    }
    const std::string help = output("--help");
    const std::regex command("\n  ([a-z]+) ");
    const std::sregex_token_iterator first(help.begin(), help.end(), command, 1);
    EXPECT_EQ(seen, (std::set<std::string>{first, {}})) << "the commands of the help";
}

TEST_F(JsonTest, AFlagIsToldAlikeEverywhere) {
    output("create result r1");
    Command holder = startAndAwait("}\n", "--json flag set r1 mine");
    const auto flag = nlohmann::json::parse(holder.output())["flag"];
    EXPECT_EQ(json("flag list r1")["flags"][0], flag);
    holder.send(SIGKILL);
    keepJson(holder.finish().out);
    EXPECT_EQ(json("flag clear r1 mine")["flag"]["pid"], flag["pid"]);
}

TEST_F(JsonTest, AValueHasOneFormEverywhere) {
    createResults("r1 r2");
    output("set r1 elapsedMicroseconds=18446744073709551615 peakMemoryBytes=9007199254740993");
    output("tag r1 +a");
    const auto node = json("list --columns elapsed,memory,tag,pinned,timestamp,rank")["nodes"][0];
    const auto timestamp = json("show r1")["node"]["properties"]["timestamp"];
    EXPECT_EQ(node["values"], (nlohmann::json{{"elapsed", "18446744073709551615"},
                                              {"memory", "9007199254740993"},
                                              {"tag", node["tags"]},
                                              {"pinned", false},
                                              {"timestamp", timestamp},
                                              {"rank", nullptr}}));
    EXPECT_EQ(node["tags"], nlohmann::json({"a"}));
    EXPECT_EQ(json("show r1 timestamp")["node"]["values"]["timestamp"], timestamp);
    EXPECT_EQ(json("list --group-by tag")["groups"][0]["value"], "a");
    write("r2/file", "text");
    const nlohmann::json compared = json("diff r1 r2");
    for (const auto& row : compared["rows"]) {
        EXPECT_TRUE(row["what"] != "file" || row["values"][1]["value"] == 4) << row;
    }
    write("r1/r1.zentor", "damaged");
    const auto damaged = json("list r1 r2")["nodes"][0];
    EXPECT_TRUE(damaged["tags"].is_null() && damaged["pinned"].is_null()) << "nobody knows";
}

}  // namespace
