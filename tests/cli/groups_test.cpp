#include "cli_test.h"

namespace {

/// A project "p" with an experiment "e" that holds r000, a result r000 of its own, and a link to
/// far/x.
class CliGroupsTest : public CliTest {
protected:
    void SetUp() override {
        output("create project p");
        output("create experiment e --into p");
        output("create result r@@@ --into p/e");
        output("create result r@@@ --into p");
        output("create result far/x");
        EXPECT_EQ(output("add far/x --to p"), directory / "p/x.zentorlink\n");
    }
};

TEST_F(CliGroupsTest, ListShowsGroupsAsATree) {
    for (const auto& [options, expected] :
         pairs("p: e r000 x; -r p: e r000 r000 x; -r p --kind result: r000 r000 x; "
               "-r p --reverse: x r000 e r000; -r p --limit 2: e r000; p --mask r@@@: r000")) {
        EXPECT_EQ(listed("list " + options), expected) << options;
    }
    EXPECT_THAT(output("list -r p"), HasSubstr("\ne/r000\tincomplete\t"));
    const nlohmann::json nodes = json("list -r p")["nodes"];
    ASSERT_EQ(nodes.size(), 4U);
    EXPECT_EQ(nodes[1]["groups"], nlohmann::json({"e"}));
    EXPECT_EQ(nodes[2]["link"], nullptr);
    EXPECT_EQ(nodes[3]["link"], "linked");
    // A link that leads back to its own group does not go round for ever.
    output("add p/e --to p");
    write("p/e/back.zentorprojlink", read("p/x.zentorlink"));
    EXPECT_EQ(run("list -r p").code, 0);
}

TEST_F(CliGroupsTest, MembersAreRenamedRepairedAndFinalized) {
    EXPECT_EQ(output("rename p/x.zentorlink y"), directory / "far/x/y.zentor\n");
    EXPECT_EQ(listed("list p"), "e r000 y");
    EXPECT_EQ(run("relink p/y.zentorlink far/x").code, 1) << "it is not missing";
    fs::rename(directory / "far/x", directory / "moved");
    EXPECT_EQ(json("list p")["nodes"][2]["state"], "missing");
    EXPECT_EQ(run("relink p/y.zentorlink p").code, 3) << "a project is no result";
    EXPECT_EQ(output("relink p/y.zentorlink moved"), directory / "moved/y.zentor\n");
    EXPECT_EQ(show("p/y.zentorlink path link"), directory / "moved\nlinked\n");
    write("p/r000/data.0/b.csv", "b");
    write("p/r000/data.0/a.txt", "a");
    EXPECT_EQ(output("files p/r000 *.csv"), directory / "p/r000/data.0/b.csv\n");
    output("finalize p/r000 p/e/r000");
    EXPECT_EQ(listed("list -r p --state finalized"), "r000 r000");
}

TEST_F(CliGroupsTest, RemovalDeletesWhatIsNamedAndAsksFirst) {
    EXPECT_THAT(run("remove p/r000"), FieldsAre(2, _, HasSubstr("-y")));
    EXPECT_EQ(output("remove --dry-run p"), directory / "p\n");
    EXPECT_EQ(run("remove -y p/r000 p/none").code, 3);
    EXPECT_TRUE(exists("p/r000")) << "all are found before the first is deleted";
    for (const bool agreed : {false, true}) {
        Command command = startAndAwait("[y/N]", "remove p/r000", 80);
        command.type(agreed ? "y\n" : "\n");
        EXPECT_EQ(command.finish().code, agreed ? 0 : 1);
        EXPECT_EQ(exists("p/r000"), !agreed);
    }
    fs::rename(directory / "far/x", directory / "far/moved");
    output("remove -y p/x.zentorlink");
    EXPECT_TRUE(exists("far/moved")) << "a link that leads nowhere goes alone";
    output("remove -y p");
    EXPECT_FALSE(exists("p"));
}

TEST_F(CliGroupsTest, PurgeKeepsWhatARuleNames) {
    // The days are far from a change of the clocks, in any time zone.
    constexpr std::int64_t day = 86400;
    constexpr std::int64_t first = 1705320000;  // a Monday at noon
    int number = 0;
    for (const std::int64_t time : {0L, 60L, day, 7 * day, 30 * day, 30 * day + 60, 31 * day}) {
        const std::string name = "r00" + std::to_string(number++);
        output("create result " + name);
        write(name + "/data.0/x", std::string(100000, 'x'));
        output("set " + name + " collectionTimeBegin=" + std::to_string(first + time));
    }
    output("pin r001");
    output("tag r000 r003 +best");
    output("invalidate r006");
    output("set r006-bad --unset collectionTimeBegin");
    for (const auto& [rules, kept] :
         pairs("--keep 2: r001 r004 r005; --keep 1 --keep-tag best: r000 r001 r003 r005; "
               "--keep-daily 2: r001 r003 r005; --keep-weekly 2: r001 r003 r005; "
               "--keep-monthly 9: r001 r003 r005; --keep-within 1h: r001 r006-bad; "
               "--max-size 250K: r001 r005; --keep 1 --where tag=best: r003; "
               "--keep 3 --keep-tag best --max-size 1K: r000 r001 r003")) {
        EXPECT_EQ(listed("purge . -y --dry-run " + rules, "keep"), kept) << rules;
    }
    Command holder = startAndAwait("\n", "flag set r002 mine");
    write("r004/r004.zentor", "<");
    EXPECT_THAT(
        run("purge . -y --keep 0 --mask r@@@"),
        FieldsAre(7,
                  AllOf(HasSubstr("keep\tr001\tpinned\n"), HasSubstr("r002\tthe flag mine is"),
                        HasSubstr("keep\tr004\tunreadable: "),
                        HasSubstr("delete\tr006-bad\tinvalid\n")),
                  HasSubstr("1 could not be looked at")));
    EXPECT_EQ(listed("list --kind result"), "r001 r002 r004");
    for (const char* refused : {"--keep-within 1x", "--max-size -1K", "--keep-daily 0"}) {
        EXPECT_EQ(run(std::string("purge . --dry-run ") + refused).code, 2) << refused;
    }
}

TEST_F(CliGroupsTest, UnlinkedNodesStayAsTheyAre) {
    output("create result far/y");
    output("add far/y --to p/e");
    output({"note", "far/x", "kept"});
    // The one that cannot be unlinked keeps the others in the group.
    EXPECT_EQ(run("unlink p/x p/r000").code, 2);
    inShell("cp -a p p2");
    // A copy of the group has a link of its own.
    EXPECT_EQ(output("unlink p2/x"), directory / "far/x\n");
    EXPECT_EQ(listed("list p") + ", " + listed("list p2"), "e r000 x, e r000");
    EXPECT_EQ(show("far/x backlink"), directory / "p/x.zentorlink\n");
    EXPECT_EQ(output("unlink far/x p/x far/*"), (directory / "far/x\n") + (directory / "far/y\n"))
        << "each once";
    EXPECT_EQ(listed("list -r p"), "e r000 r000");
    EXPECT_EQ(show("far/x state note"), "incomplete\nkept\n");
    EXPECT_EQ(run("show far/x backlink").code, 3);
    EXPECT_EQ(run("check far").code, 0);
}

TEST_F(CliGroupsTest, PurgeKeepsTheLast) {
    createResults("p/r001 p/r002 p/r003");
    for (const char* refused : {"purge p", "purge p --keep 0 -y", "purge p --keep 1",
                                "purge p --keep 0 -y --mask ../p/r@@@", "list --mask p/r@@@"}) {
        EXPECT_EQ(run(refused).code, 2) << refused;
    }
    EXPECT_THAT(output("purge p --keep 3 --dry-run"),
                testing::StartsWith("delete\tr000\tkept by no rule\nkeep\tr001\tone"));
    output("purge p --keep 2 -y");
    EXPECT_EQ(listed("list p"), "e r002 r003 x");
    output("purge p --keep 0 --mask r@@@ -y");
    EXPECT_EQ(listed("list p"), "e x");
}

TEST_F(CliGroupsTest, ListingCopiedGroupsChangesNoMarker) {
    inShell("cp -a p p2");
    output("set far/x c=1");
    listed("list p2");
    const auto before = stampOf(directory / "far/x/x.zentor");
    EXPECT_EQ(listed("list p"), listed("list p2"));
    EXPECT_EQ(stampOf(directory / "far/x/x.zentor"), before);
}

}  // namespace
