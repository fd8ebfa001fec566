// Nodes that are copied, moved, duplicated and exported.

#include "copy_test.h"

namespace {

TEST_F(CopyTest, NodeLivesOnInItsCopy) {
    play(R"(project p; result p/r000; hold r p/r000; flag r mine; flag r other
            write p/r000/foreign.dflgzentor; chmod 700 p/r000)");
    const ResultHandle result = openResult("p/r000");
    const std::string record = readFile("p/r000/mine.infozentor");
    play(R"(copy r far rename -> ok
            node r            -> far by p/far.zentorlink in p
            tree p/r000       -> foreign.dflgzentor r000.zentor
            tree far          -> far.zentor mine.dflgzentor mine.infozentor other.dflgzentor other.infozentor)");
    EXPECT_EQ(fs::status("far").permissions(), fs::owner_all) << "no more open than the source";
    EXPECT_EQ(readFile("far/mine.infozentor"), record);
    EXPECT_EQ(result->ownFlag("mine"), eOK);
    EXPECT_EQ(result->ownFlag("other"), eOK);
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
    for (const char* nothing : {static_cast<Text>(nullptr), ""}) {
        EXPECT_EQ(said(project->move(nothing, true, nullptr)), eParameterError);
        EXPECT_EQ(said(project->duplicate(nothing)), eParameterError);
        EXPECT_EQ(said(result->exportTo(nothing, nullptr)), eParameterError);
    }
    Progress cancelled(0);
    EXPECT_FALSE(project->copy("new", true, &cancelled));
    EXPECT_EQ(cancelled.starts, 0);
    EXPECT_FALSE(fs::exists("new"));
}

TEST_F(CopyTest, ANameThatTheTreeHoldsOtherwiseIsRefusedBeforeCopying) {
    play(R"(result r000; write r000/file.zentor; mkdir r000/directory.zentor
            symlink nowhere r000/link.zentor; hold r r000/r000.zentor)");
    const std::string before = entries(".");
    for (const std::string name : {"file", "directory", "link"}) {
        play("copy r " + name + " rename -> no exists; move r " + name + " rename -> no exists");
        play("duplicate r " + name + " -> no exists");
    }
    EXPECT_EQ(entries("."), before);
    // It follows the directory's unchecked.
    play("move r a:b rename -> ok; rm a:b/file.zentor; rm a:b/directory.zentor");
    play("rm a:b/link.zentor; tree . -> a:b a:b/a:b.zentor");
}

TEST_F(CopyTest, DuplicateIsANodeOfItsOwn) {
    play("project p; result r000; add p r000; hold r r000; write r000/data.0/1 1");
    const ResultHandle result = openResult("r000");
    result->setCollectorCommand("run");
    result->save();
    result->setFinalized(true);
    ASSERT_TRUE(result->setFlag("mine"));
    const auto copy = IResultDirectory::cast(result->duplicate("r@@@"));
    ASSERT_TRUE(copy);
    EXPECT_STREQ(copy->getCollectorCommand(), "run");
    EXPECT_TRUE(copy->isFinalized());
    EXPECT_FALSE(load("r001/r001.zentor").get_bag("vesta")->has("backlink"));
    EXPECT_EQ(result->ownFlag("mine"), eOK);
    // What is there already is nobody's copy.
    play(R"(node r001        -> r001
            tree r001        -> .norun data.0 data.0/1 r001.zentor
            node r           -> r000 by p/r000.zentorlink in p
            write full/notes; experiment p/e
            duplicate p q    -> q
            duplicate p/e f  -> f
            tree f           -> e.zentorexp
            duplicate r full -> no exists
            duplicate p full -> no exists
            duplicate f full -> no exists
            duplicate r r000/inside -> no path
            duplicate p p/inside    -> no path
            tree full        -> notes
            tree p           -> e e/e.zentorexp p.zentorproj r000.zentorlink)");
}

TEST_F(CopyTest, ExportIsAResultWithAMarkerOfItsOwn) {
    play(R"(project p; result r000; add p r000; hold r r000; write r000/a.csv
            write r000/data.0/b.csv r000/data.0/c.txt r000/x.dflgzentor r000/old.zentor
            symlink p r000/link; chmod 700 r000)");
    const ResultHandle result = IResultDirectory::cast(m_held["r"]);
    result->setCollectorCommand("run");
    const ResultHandle exported = result->exportTo("x@@@", "\n\n*.csv\n");
    ASSERT_TRUE(exported);
    EXPECT_EQ(fs::status("x000").permissions(), fs::owner_all) << "no more open than the source";
    EXPECT_STREQ(exported->getCollectorCommand(), "run") << "as it is in memory";
    EXPECT_FALSE(load("x000/x000.zentor").get_bag("vesta")->has("backlink"));
    ASSERT_TRUE(
        result->exportTo("y", (flagFilePatterns()[0] + "\n" + flagFilePatterns()[1]).c_str()));
    play(R"(node x000    -> x000
            node r       -> r000 by p/r000.zentorlink in p
            tree x000    -> data.0 data.0/c.txt x.dflgzentor x000.zentor
            tree y       -> a.csv data.0 data.0/b.csv data.0/c.txt y.zentor
            export r y   -> no exists
            export r a<b -> no chars
            export r r000/inside -> no path)");
    EXPECT_FALSE(fs::exists("r000/inside"));
}

}  // namespace
