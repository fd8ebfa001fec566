#include <boost/filesystem/operations.hpp>
#include <chrono>
#include <csignal>
#include <set>
#include <thread>

#include "cli_test.h"

using support::Command;
using testing::HasSubstr;

namespace {

class CliCopiesTest : public CliTest {
protected:
    void SetUp() override { run({"collect", "-q", "--", "sh", "-c", "exit 3"}); }

    bool exists(const std::string& name) { return boost::filesystem::exists(directory / name); }
};

TEST_F(CliCopiesTest, EachMakesAWholeNode) {
    struct Case {
        std::vector<std::string> arguments;
        std::string made;
        std::string name;
        bool keepsSource;
    };
    boost::filesystem::create_directory(directory / "sub");
    const std::vector<Case> cases{
        {{"copy", "r000", "sub/a"}, "sub/a", "r000", true},
        {{"copy", "r000", "b", "--rename"}, "b", "b", true},
        {{"duplicate", "r000", "d@@"}, "d00", "d00", true},
        {{"duplicate", "r000", "d@@"}, "d01", "d01", true},
        {{"export", "r000", "e"}, "e", "e", true},
        {{"move", "b", "sub/c", "--rename"}, "sub/c", "c", false},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(output(each.arguments), directory / each.made + "\n");
        EXPECT_EQ(show(each.made, {"name", "state", "exitCode"}), each.name + "\nfinalized\n3\n");
        EXPECT_EQ(read(each.made + "/data.0/samples.csv"), read("r000/data.0/samples.csv"));
        EXPECT_EQ(exists(each.arguments[1]), each.keepsSource);
    }
}

TEST_F(CliCopiesTest, ExportLeavesOutWhatIsOfNoUse) {
    for (const char* name : {"keep", "drop.csv", "data.0/drop.csv", "scratch/file", ".bagtmp-1-2",
                             "f.dflgzentor", "f.infozentor"}) {
        write(std::string("r000/") + name, "text");
    }
    output({"export", "r000", "e", "--exclude", "*.csv", "--exclude", "scratch"});
    std::set<std::string> names;
    for (const auto& entry : boost::filesystem::recursive_directory_iterator(directory / "e")) {
        names.insert(entry.path().native().substr((directory / "e/").size()));
    }
    EXPECT_EQ(names, (std::set<std::string>{".norun", "collector.log", "command.log", "data.0",
                                            "e.zentor", "keep"}));
}

TEST_F(CliCopiesTest, ACopyStaysInItsGroupAndADuplicateDoesNot) {
    output({"create", "project", "p"});
    output({"create", "result", "p/x"});
    output({"copy", "p/x", "far", "--rename"});
    output({"duplicate", "p/x", "apart"});
    EXPECT_TRUE(exists("p/far.zentorlink"));
    EXPECT_FALSE(exists("p/apart.zentorlink"));
    EXPECT_EQ(json({"list", "p"})["nodes"].size(), 2U);
}

TEST_F(CliCopiesTest, ImportFindsTheResultOfAnotherProduct) {
    write("foreign/run.other", "<?xml version=\"1.0\"?><bag v=\"1\"/>");
    EXPECT_EQ(output({"import", "foreign", "--ext", ".other"}), directory / "foreign\n");
    EXPECT_EQ(json({"import", "foreign", "--ext", "other"})["result"]["name"], "run");
}

TEST_F(CliCopiesTest, CancellingLeavesNothingHalfDone) {
    write("r000/big", std::string(std::size_t{256} << 20U, 'x'));
    for (const char* command : {"copy", "move", "duplicate"}) {
        support::CommandResult result;
        // A copy may be done before the signal comes.
        for (int attempt = 0; attempt < 20 && result.code != 130; ++attempt) {
            boost::filesystem::remove_all(directory / "copy");
            Command running({command, "r000", "copy"}, {directory.path().native()});
            for (int i = 0; i < 10000 && !exists("copy"); ++i) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            running.send(SIGINT);
            running.send(SIGTERM);
            result = running.finish();
            if (!exists("r000")) {
                output({"move", "copy", "r000"});
            }
        }
        EXPECT_EQ(result.code, 130) << command;
        EXPECT_THAT(result.err, HasSubstr("/copy: cancelled")) << command;
        EXPECT_FALSE(exists("copy")) << command;
        EXPECT_EQ(show("r000", {"state"}), "finalized\n") << command;
    }
}

TEST_F(CliCopiesTest, AFailedCollectionTellsWhereItsResultIs) {
    EXPECT_THAT(run({"collect", "--", "no-such-program"}).err, HasSubstr("/r001-bad is invalid"));
    EXPECT_THAT(read("r001-bad/collector.log"), HasSubstr("no such program"));
    EXPECT_EQ(output({"invalidate", "r000"}), directory / "r000-bad\n");
    EXPECT_EQ(output({"invalidate", "r000-bad"}), directory / "r000-bad\n") << "and stays there";
    output({"create", "result", "r000"});
    EXPECT_EQ(output({"invalidate", "r000"}), directory / "r000\n") << "its place is taken";
    EXPECT_EQ(show("r000", {"state"}), "invalid\n");
}

}  // namespace
