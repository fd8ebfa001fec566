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
        createResults("p/r000 p/r001 p/r002 p/r003 elsewhere/x0 elsewhere/x1");
        output("add elsewhere/x0 elsewhere/x1 --to p");
    }

    /// "outcome finding path", a line each, with paths relative to the working directory.
    std::multiset<std::string> found(const std::string& words, const Words& environment = {}) {
        std::multiset<std::string> lines;
        const nlohmann::json all = json(words, environment);
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
        Command holder = startAndAwait('/' + flag + '\n', "flag set " + node + ' ' + flag);
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
    Command holder = startAndAwait("/mine\n", "flag set p/r000 mine");
    write("p/r001/" + temporaryOf(::getpid()), "being saved");
    write("p/notes/readme", "no node");
    fs::create_directory(directory / "p/empty");
    const auto before = stamps();
    EXPECT_THAT(run("check p"), FieldsAre(0, _, "vesta2: 7 nodes, 0 findings\n"));
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
    const std::string left = "r000/" + temporaryOf(dead);
    write("p/" + left, "left");
    abandon("p/r003", "collecting");
    abandon("p/r003", "editing");
    write("p/r003/r003.zentor", "<bag v='1'/>");
    write("p/r006/" + temporaryOf(dead), "half");
    write("p/z.zentorlink", "no link");
    inShell("cd p; mkdir -p r002/data.0 r004 r005 odd/odd.zentor\n"
            "rm -r r002/r002.zentor ../elsewhere/x1\n"
            "cp r001/r001.zentor r001/other.zentor\n"
            "cp x0.zentorlink y.zentorlink; ln -s x0.zentorlink s.zentorlink");
    std::multiset<std::string> all;
    std::multiset<std::string> outcomes;
    for (const auto& [outcome, what] :
         pairs("left: damaged-marker p/odd/odd.zentor; left: damaged-link p/z.zentorlink; "
               "left: damaged-marker p/r000/r000.zentor; left: dangling-link p/x1.zentorlink; "
               "repaired: empty-directory p/r004; repaired: empty-directory p/r005; "
               "left: empty-marker p/r003/r003.zentor; left: foreign-link p/y.zentorlink; "
               "left: interrupted p/r006; left: missing-marker p/r002; left: orphaned p/r003; "
               "repaired: stale-flag p/r003/editing; left: two-markers p/r001; "
               "left: wrong-link p/s.zentorlink; repaired: temporary-file p/" +
               left)) {
        all.insert("found " + what);
        outcomes.insert(outcome + ' ' + what);
    }
    const auto before = stamps();
    EXPECT_EQ(found("check p"), all);
    EXPECT_EQ(stamps(), before);
    EXPECT_EQ(run("check p").code, 1);

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
    fs::permissions(directory.path(), fs::perms(0755));
    // A link that cannot be read is not one that leads to another node.
    for (const auto& [closed, checked] : rows<2>("p/r001 p; p/x0.zentorlink elsewhere")) {
        fs::permissions(directory / closed, fs::no_perms);
        EXPECT_THAT(
            runAsOther("check --repair " + checked),
            FieldsAre(1, AllOf(HasSubstr("left\tunreadable\t"), HasSubstr(closed + '\t')), _));
    }
}

TEST_F(CliCheckTest, WhatComesIntoThePlaceOfADirectoryIsLeftAlone) {
    const std::string name = temporaryOf(4'194'304);
    write("p/r000/" + name, "left");
    write("other/" + name, "another's");
    EXPECT_THAT(run("check p --repair", {"LD_PRELOAD=" LYING_CALLS}).out,
                HasSubstr("repaired\ttemporary-file"));
    EXPECT_EQ(read("p/r000/" + name), "another's");
    EXPECT_FALSE(exists("other/" + name));
}

/// What the trials say, by their names.
TEST_F(CliCheckTest, TheDoctorTellsWhatAFileSystemDoes) {
    const auto told = [this](const Words& environment) {
        std::map<std::string, std::string> words;
        const auto result = run("--json doctor p", environment);
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
