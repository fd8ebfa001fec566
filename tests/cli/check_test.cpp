#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <map>

#include "basekit2/bag_io.h"
#include "cli_test.h"

namespace {

/// A project with four results in it, r000 to r003, and two linked ones.
class CliCheckTest : public CliTest {
protected:
    void SetUp() override {
        output("create project p");
        for (int i = 0; i < 4; ++i) {
            output("create result r@@@ --into p");
        }
        output("create result elsewhere/x0");
        output("create result elsewhere/x1");
        output("add elsewhere/x0 elsewhere/x1 --to p");
    }

    /// "outcome finding path", a line each, with paths relative to the working directory.
    std::multiset<std::string> found(const std::string& words, const Words& environment = {}) {
        std::multiset<std::string> lines;
        const auto result = start(Words("--json").with(words), environment).finish();
        keepJson(result.out);
        const auto all = nlohmann::json::parse(result.out);
        for (const auto& finding : all["findings"]) {
            if (!finding["harmless"]) {
                const fs::path path = finding["path"].get<std::string>();
                lines.insert(finding["outcome"].get<std::string>() + ' ' +
                             finding["finding"].get<std::string>() + ' ' +
                             path.lexically_relative(directory.path()).native());
            }
        }
        return lines;
    }

    std::map<std::string, std::vector<long>> stamps() {
        std::map<std::string, std::vector<long>> all;
        for (const auto& entry : fs::recursive_directory_iterator(directory.path())) {
            all[entry.path().native()] = stampOf(entry.path().native());
        }
        return all;
    }

    /// Leaves a flag whose owner was killed.
    void abandon(const std::string& node, const std::string& flag) {
        Command holder = start("flag set " + node + ' ' + flag);
        ASSERT_TRUE(holder.awaitOutput('/' + flag + '\n'));
        holder.send(SIGKILL);
        holder.finish();
    }

    /// A temporary file as a process leaves it that was killed.
    std::string temporaryOf(pid_t process) {
        std::string host = basekit2::make_bag_temporary();
        host.resize(host.rfind('-'));
        return host.substr(0, host.rfind('-') + 1) + std::to_string(process) + "-7";
    }
};

TEST_F(CliCheckTest, WhatIsWholeHasNoFindings) {
    Command holder = start("flag set p/r000 mine");
    ASSERT_TRUE(holder.awaitOutput("/mine\n"));
    write("p/r001/" + temporaryOf(::getpid()), "being saved");
    write("p/notes/readme", "no node");
    fs::create_directory(directory / "p/empty");
    const auto before = stamps();
    const auto result = run("check p");
    EXPECT_EQ(result.code, 0) << result.out;
    EXPECT_EQ(result.err, "vesta2: 7 nodes, 0 findings\n");
    EXPECT_EQ(json("check p")["nodeCount"], 7);
    EXPECT_EQ(stamps(), before);
    EXPECT_EQ(run("check elsewhere/x0").code, 0);
    EXPECT_EQ(run("check nothing").code, 3);
    holder.send(SIGTERM);
    holder.finish();
}

TEST_F(CliCheckTest, DamageIsFoundAndMendedWhereNothingIsLost) {
    constexpr pid_t dead = 4'194'304;  // one more than a process can have
    write("p/r000/r000.zentor", "torn");
    write("p/r000/" + temporaryOf(dead), "left");
    write("p/r001/other.zentor", read("p/r001/r001.zentor"));
    fs::remove(directory / "p/r002/r002.zentor");
    fs::create_directory(directory / "p/r002/data.0");
    abandon("p/r003", "collecting");
    abandon("p/r003", "editing");
    write("p/r003/r003.zentor", "<bag v='1'/>");
    for (const char* empty : {"p/r004", "p/r005"}) {
        fs::create_directory(directory / empty);
    }
    write("p/r006/" + temporaryOf(dead), "half");
    fs::remove_all(directory / "elsewhere/x1");
    fs::copy_file(directory / "p/x0.zentorlink", directory / "p/y.zentorlink");
    write("p/z.zentorlink", "no link");
    fs::create_symlink("x0.zentorlink", directory / "p/s.zentorlink");
    fs::create_directories(directory / "p/odd/odd.zentor");

    const auto before = stamps();
    const std::multiset<std::string> all{"found damaged-marker p/odd/odd.zentor",
                                         "found damaged-link p/z.zentorlink",
                                         "found damaged-marker p/r000/r000.zentor",
                                         "found dangling-link p/x1.zentorlink",
                                         "found empty-directory p/r004",
                                         "found empty-directory p/r005",
                                         "found empty-marker p/r003/r003.zentor",
                                         "found foreign-link p/y.zentorlink",
                                         "found interrupted p/r006",
                                         "found missing-marker p/r002",
                                         "found orphaned p/r003",
                                         "found stale-flag p/r003/editing",
                                         "found two-markers p/r001",
                                         "found wrong-link p/s.zentorlink",
                                         "found temporary-file p/r000/" + temporaryOf(dead)};
    EXPECT_EQ(found("check p"), all);
    EXPECT_EQ(stamps(), before);
    EXPECT_EQ(run("check p").code, 1);

    std::multiset<std::string> outcomes;
    const std::set<std::string> mended{"temporary-file", "stale-flag", "empty-directory"};
    for (const std::string& line : all) {
        const bool isMended = mended.count(support::words(line)[1]) != 0;
        outcomes.insert((isMended ? "repaired" : "left") + line.substr(5));
    }
    // What is as young as now may be somebody's work; an hour later it is nobody's.
    const std::string flag = "repaired stale-flag p/r003/editing";
    const auto atOnce = found("check p --repair");
    EXPECT_EQ(atOnce.count("left empty-directory p/r004"), 1U);
    EXPECT_EQ(atOnce.count(flag), 1U);
    outcomes.erase(flag);
    EXPECT_EQ(found("check p --repair", {"LD_PRELOAD=" LYING_CALLS}), outcomes);
    auto after = stamps();
    for (const auto& [path, stamp] : before) {
        const bool isGone = path.ends_with("r004") || path.ends_with("r005") ||
                            path.find(".bagtmp-") != path.npos ||
                            path.find("/editing.") != path.npos;
        EXPECT_EQ(after.count(path) != 0, !isGone || path.find("r006") != path.npos) << path;
    }
    EXPECT_EQ(found("check p").size(), all.size() - 4);
}

TEST_F(CliCheckTest, LostLinksAndWhatMayNotBeReadAreFindings) {
    fs::remove(directory / "p/x0.zentorlink");
    EXPECT_EQ(found("check elsewhere"),
              std::multiset<std::string>{"found lost-link elsewhere/x0/x0.zentor"});
    output("add elsewhere/x0 --to p");
    EXPECT_EQ(run("check elsewhere").code, 0);
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs a second user";
    }
    ASSERT_EQ(::chmod((directory / "").c_str(), 0755), 0);
    // A link that cannot be read is not one that leads to another node.
    for (const auto& [closed, checked] : rows<2>("p/r001 p; p/x0.zentorlink elsewhere")) {
        ASSERT_EQ(::chmod((directory / closed).c_str(), 0), 0);
        const auto result = run(Words("flag run p mine -- setpriv --reuid=65534 --regid=65534 "
                                      "--clear-groups " VESTA2_COMMAND " check --repair")
                                    .with(checked));
        EXPECT_EQ(result.code, 1) << result.err;
        EXPECT_THAT(result.out, AllOf(HasSubstr("left\tunreadable\t"), HasSubstr(closed + '\t')));
    }
}

TEST_F(CliCheckTest, WhatComesIntoThePlaceOfADirectoryIsLeftAlone) {
    const std::string name = temporaryOf(4'194'304);
    write("p/r000/" + name, "left");
    write("other/" + name, "another's");
    const auto result =
        start("check p --repair", {"LD_PRELOAD=" LYING_CALLS, "EXCHANGED=p/r000:other"}).finish();
    EXPECT_THAT(result.out, HasSubstr("repaired\ttemporary-file"));
    EXPECT_EQ(read("p/r000/" + name), "another's");
    EXPECT_FALSE(exists("other/" + name));
}

/// What the trials say, by their names.
TEST_F(CliCheckTest, TheDoctorTellsWhatAFileSystemDoes) {
    const auto told = [this](const Words& environment) {
        std::map<std::string, std::string> words;
        const auto result = start(Words("--json doctor p"), environment).finish();
        const auto all = nlohmann::json::parse(result.out);
        for (const auto& trial : all["trials"]) {
            words[trial["trial"]] = trial["does"];
        }
        words["fit"] = all["fit"] ? "yes" : "no";
        EXPECT_EQ(result.code == 0, words["fit"] == "yes");
        return words;
    };
    const auto before = stamps();
    auto truth = told({});
    const bool isInMemory = json("doctor p")["fileSystem"] == "tmpfs";
    for (const char* trial : {"record-locks", "exclusive-mkdir", "atomic-replace"}) {
        EXPECT_EQ(truth[trial], "yes") << trial;
    }
    EXPECT_EQ(truth["flush"], isInMemory ? "no" : "yes");
    EXPECT_EQ(truth["fit"], truth["flush"]);
    EXPECT_EQ(stamps().size(), before.size());

    auto lies = told({"LD_PRELOAD=" LYING_CALLS});
    for (const char* trial :
         {"record-locks", "exclusive-mkdir", "atomic-replace", "flush", "fit"}) {
        EXPECT_EQ(lies[trial], "no") << trial;
    }
}

}  // namespace
