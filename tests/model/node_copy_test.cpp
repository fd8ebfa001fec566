// Nodes that are copied, moved, duplicated and exported.

#include <sched.h>
#include <sys/mount.h>

#include "model_test.h"

namespace {

using NodeCopyTest = ModelTest;

TEST_F(NodeCopyTest, NodeLivesOnInItsCopy) {
    play(R"(project p; result p/r000; hold r p/r000; flag r mine; flag r other
            write p/r000/foreign.dflgzentor; chmod 700 p/r000)");
    const ResultHandle result = openResult("p/r000");
    const std::string record = readFile("p/r000/mine.infozentor");
    play(R"(copy r far rename -> ok
            node r            -> far by p/far.zentorlink in p
            tree p/r000       -> foreign.dflgzentor r000.zentor
            tree far          -> far.zentor mine.dflgzentor mine.infozentor other.dflgzentor other.infozentor
            own r mine; own r other)");
    EXPECT_EQ(fs::status("far").permissions(), fs::owner_all) << "no more open than the source";
    EXPECT_EQ(readFile("far/mine.infozentor"), record);
    EXPECT_EQ(openResult("far").get(), result.get());
    play(R"(move r p/back -> ok
            node r        -> p/back in p
            tree .        -> p p/back p/back/far.zentor p/back/mine.dflgzentor p/back/mine.infozentor p/back/other.dflgzentor p/back/other.infozentor p/p.zentorproj p/r000 p/r000/foreign.dflgzentor p/r000/r000.zentor
            hold p p
            move p q/ rename  -> ok
            node p            -> q
            tree q            -> back back/far.zentor q.zentorproj r000 r000/r000.zentor
            move p q          -> no exists
            move p none/below -> no error
            move p q/itself   -> no error
            move p q/r000/in  -> no error)");
    const auto project = IProject::cast(m_held["p"]);
    EXPECT_EQ(text(project->getNodeGroup()->getPath()), at("q"));
    EXPECT_EQ(text(project->getNodeGroup()->getOutputDirectory()), at("q"));
}

TEST_F(NodeCopyTest, ANameThatTheTreeHoldsOtherwiseIsRefusedBeforeCopying) {
    play(R"(result r000; write r000/file.zentor; mkdir r000/directory.zentor
            symlink nowhere r000/link.zentor; hold r r000/r000.zentor)");
    const std::string before = entries(".");
    for (const std::string name : {"file", "directory", "link"}) {
        play("copy r " + name + " rename -> no exists; move r " + name + " rename -> no exists");
        play("duplicate r " + name + " -> no exists");
    }
    EXPECT_EQ(entries("."), before);
    // It follows the directory's unchecked.
    play(R"(move r a:b rename -> ok; rm a:b/file.zentor a:b/directory.zentor a:b/link.zentor
            tree . -> a:b a:b/a:b.zentor)");
}

TEST_F(NodeCopyTest, DuplicatesAndExportsAreNodesOfTheirOwn) {
    play(R"(project p; result r000; add p r000; hold r r000; flag r mine; write r000/a.csv
            write r000/data.0/b.csv r000/data.0/c.txt r000/old.dflgzentor r000/old.zentor
            symlink p r000/link; chmod 700 r000)");
    const ResultHandle result = this->result("r");
    result->setFinalized(true);
    result->setCollectorCommand("run");
    result->save();
    const auto copy = IResultDirectory::cast(result->duplicate("r@@@"));
    result->setCollectorCommand("again");
    const ResultHandle exported = result->exportTo("x@@@", "\n\n*.csv\n");
    ASSERT_TRUE(copy && exported);
    EXPECT_EQ(fs::status("x000").permissions(), fs::owner_all) << "no more open than the source";
    EXPECT_STREQ(exported->getCollectorCommand(), "again") << "as it is in memory";
    EXPECT_STREQ(copy->getCollectorCommand(), "run") << "as it is on disk";
    EXPECT_TRUE(copy->isFinalized());
    for (const char* marker : {"r001/r001.zentor", "x000/x000.zentor"}) {
        EXPECT_FALSE(load(marker).get_bag("vesta")->has("backlink")) << marker;
    }
    const auto& flags = flagFilePatterns();
    ASSERT_TRUE(result->exportTo("y", (flags[0] + "\n" + flags[1]).c_str()));
    // What is there already is nobody's copy. A lock file of our own is not even opened.
    play(R"(node r001/r001.zentor -> r001
            tree r001        -> .norun a.csv data.0 data.0/b.csv data.0/c.txt old.zentor r001.zentor
            node x000        -> x000
            tree x000        -> .norun data.0 data.0/c.txt mine.infozentor old.dflgzentor x000.zentor
            tree y           -> .norun a.csv data.0 data.0/b.csv data.0/c.txt y.zentor
            node r           -> r000 by p/r000.zentorlink in p
            own r mine; write full/notes; experiment p/e
            duplicate p q    -> q
            duplicate p/e f  -> f
            tree f           -> e.zentorexp
            duplicate r full -> no exists
            duplicate p full -> no exists
            duplicate f full -> no exists
            duplicate r r000/inside -> no path
            duplicate p p/inside    -> no path
            export r full -> no exists
            export r a<b  -> no chars
            export r r000/inside -> no path
            tree full        -> notes
            tree p           -> e e/e.zentorexp p.zentorproj r000.zentorlink)");
    EXPECT_FALSE(fs::exists("r000/inside"));
    checkInChild([this] {
        util::FlagManager other;
        EXPECT_EQ(other.writeFlag(at("r000/mine").c_str(), true, nullptr), eFileLocked);
    });
}

TEST_F(NodeCopyTest, FailedStepIsToldByTheStatusAndLosesNothing) {
    asOrdinaryUser([this] {
        play(
            R"(result r000; hold r r000; flag r mine; write r000/data.0/0 r000/data.1/1 r000/data.2/2
                write r000/closed/file; chmod 0 r000/data.1/1; chmod 0 r000/closed
                move r moved rename -> no permission
                duplicate r moved   -> no permission
                node r              -> r000
                export r export     -> export permission
                copy r copy         -> ok permission
                node r              -> copy
                tree copy           -> closed data.0 data.0/0 data.1 data.2 data.2/2 mine.dflgzentor mine.infozentor r000.zentor
                chmod 600 r000/data.1/1; chmod 700 r000/closed)");
        EXPECT_FALSE(fs::exists("moved"));
        // The old directory cannot be deleted: the node lives in the new one.
        play(R"(result locked/r000; hold kept locked/r000; chmod 500 locked
                move kept free        -> no error
                node kept             -> free
                copy kept locked/copy -> no error
                chmod 700 locked; write tree/1.tmp tree/2/2.tmp tree/3.tmp tree/3.txt
                chmod 500 tree/2)");
        for (const bool isDone : {false, true, true}) {
            EXPECT_EQ(removeFiles(basekit2::path_t("tree"), ".tmp"), isDone);
            EXPECT_EQ(entries("tree"), isDone ? "2 3.txt" : "2 2/2.tmp 3.tmp 3.txt");
            ::chmod("tree/2", 0700);
        }
    });
}

TEST_F(NodeCopyTest, WhatIsMountedInATreeIsNotDeletedWithIt) {
    checkInChild([this] {
        play("result r; mkdir r/data.0/mounted; write elsewhere/file; note elsewhere/file");
        const bool isMounted =
            ::unshare(CLONE_NEWNS) == 0 &&
            ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
            ::mount("elsewhere", "r/data.0/mounted", nullptr, MS_BIND, nullptr) == 0;
        EXPECT_NE(openResult("r")->remove(), isMounted);
        play("unchanged");
    });
}

}  // namespace
