#include "model_test.h"

namespace {

class ResultDirectoryTest : public ModelTest {
protected:
    const std::string m_marker = makeResult("r000");
};

TEST_F(ResultDirectoryTest, StateIsAMarkThatIsWrittenOnChangeOnly) {
    ResultHandle result = openResult(m_marker);
    EXPECT_TRUE(!result->isFinalized() && result->isValid());
    EXPECT_TRUE(result->setFinalized(true));
    play("tree r000 -> .norun r000.zentor; rm r000/.norun");
    EXPECT_TRUE(result->setFinalized(true)) << "it is so in memory already";
    play("tree r000 -> r000.zentor");
    EXPECT_EQ(answer(result->setFinalized(false)), "ok") << "a mark that is gone is no failure";
    EXPECT_FALSE(result->isFinalized());
    result.reset();
    play("write r000/.norun r000/data.0/sample; mkdir r000/.bad");
    result = openResult(m_marker);
    EXPECT_TRUE(result->isFinalized() && !result->isValid());
    result.reset();
    fs::remove("r000/.bad");
    result = openResult(m_marker);
    result->setInvalid();
    EXPECT_EQ(pathOf(result), "r000-bad");
    play("tree . -> r000-bad r000-bad/.bad r000-bad/.norun r000-bad/data.0 "
         "r000-bad/data.0/sample r000-bad/r000-bad.zentor");
    EXPECT_TRUE(result->remove());
    EXPECT_FALSE(result->isValid());
}

TEST_F(ResultDirectoryTest, ReportsAFailedMarkByTheStatusAlone) {
    asOrdinaryUser([this] {
        const ResultHandle result = openResult(makeResult("locked"));
        ::chmod("locked", 0500);
        EXPECT_EQ(answer(result->setFinalized(true)), "ok permission");
        EXPECT_FALSE(result->isFinalized());
        EXPECT_EQ(result->getSubdir(configDir), nullptr);
        EXPECT_EQ(answer(result->createCollectorDataDir()), "no permission");
        // The mark could not be made in the old place, which could not be deleted either.
        result->setInvalid();
        EXPECT_EQ(getStatus(), eFileError);
        EXPECT_TRUE(fs::exists("locked/locked.zentor"));
        EXPECT_FALSE(openResult("locked-bad")->isValid());
        ::chmod("locked", 0700);
    });
    writeFile("precious", "content");
    for (const bool isLink : {true, false}) {
        const ResultHandle result = openResult(makeResult("planted"));
        for (const char* mark : {"planted/.norun", "planted/.bad"}) {
            ASSERT_EQ(isLink ? ::symlink("../precious", mark) : ::mkfifo(mark, 0600), 0);
        }
        EXPECT_EQ(answer(result->setFinalized(true)), "ok unknown") << isLink;
        EXPECT_FALSE(result->isFinalized());
        result->setInvalid();
        EXPECT_EQ(readFile("precious"), "content");
        // In its new place, where nothing was planted, it is marked.
        EXPECT_TRUE(fs::is_regular_file(fs::symlink_status("planted-bad/.bad"))) << isLink;
        EXPECT_TRUE(result->remove());
    }
}

TEST_F(ResultDirectoryTest, MakesAndListsItsDirectories) {
    const ResultHandle result = openResult(m_marker);
    play(R"(write r000/data.0/a.csv r000/data.0/b.txt r000/data.10/a.csv r000/data.2/z
            write r000/data.2/sub/x r000/other/a.csv r000/data.5; mkdir r000/data r000/data.old)");
    for (const char* next : {"data.1", "data.3", "data.4", "data.6"}) {
        EXPECT_EQ(text(result->createCollectorDataDir()), at("r000") + "/" + next);
    }
    EXPECT_EQ(listed(result->getCollectorDataDirectories(), "r000"),
              "data.0 data.1 data.10 data.2 data.3 data.4 data.6 data.old");
    EXPECT_EQ(listed(result->getResultFiles(nullptr), "r000"),
              "data.0/a.csv data.0/b.txt data.10/a.csv data.2/sub data.2/z");
    EXPECT_EQ(listed(result->getResultFiles("*.csv"), "r000"), "data.0/a.csv data.10/a.csv");
    EXPECT_EQ(listed(result->getResultFiles("-1"), "r000"), "data.2/z");
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(text(result->getSubdir(sourceDir)), at("r000/source"));
        EXPECT_EQ(text(result->getSubdir("a/b")), at("r000/a/b"));
        EXPECT_TRUE(fs::is_directory("r000/a/b"));
    }
    EXPECT_EQ(answer(result->getSubdir("r000.zentor/x")), "no unknown");
    EXPECT_EQ(answer(result->getSubdir(nullptr)), "no parameter");
    fs::remove_all("r000");
    setStatus(eFileLocked);
    EXPECT_FALSE(result->getSubdir(static_cast<standard_dir_t>(2)));
    EXPECT_EQ(answer(result->getCollectorDataDirectories() || result->getResultFiles(nullptr)),
              "no locked")
        << "left as it was";
}

TEST_F(ResultDirectoryTest, PropertiesHaveDefaultsAndAreSaved) {
    writeFile(m_marker, "<bag v=\"1\"/>");
    ResultHandle result = openResult(m_marker);
    const auto all = [&] {
        std::ostringstream out;
        out << text(result->getCollectorCommand()) << result->getCollectionTimeBegin()
            << result->getCollectionTimeEnd() << result->getFinalizationTimeBegin()
            << result->getFinalizationTimeEnd() << result->getMpiRank() << " "
            << result->getApplicationLog() << " " << result->getCollectorLog() << " "
            << result->getCommandLog() << " " << result->getCreationHostName();
        return out.str();
    };
    EXPECT_EQ(all(), "(null)0000-1 " + at("r000/application.log ") + at("r000/collector.log ") +
                         at("r000/command.log unknown"));
    result->setCollectorCommand("app");
    result->setApplicationLog("/var/app.log");
    result->setCollectorLog("sub/c.log");
    result->setCommandLog("d.log");
    using R = IResultDirectory;
    for (const auto set :
         {&R::setCollectorCommand, &R::setApplicationLog, &R::setCollectorLog, &R::setCommandLog}) {
        setStatus(eOK);
        ((*result).*set)(nullptr);
        EXPECT_EQ(getStatus(), eParameterError);
    }
    result->setCollectionTimeBegin(1);
    result->setCollectionTimeEnd(2);
    result->setFinalizationTimeBegin(3);
    result->setFinalizationTimeEnd(1L << 40);
    EXPECT_TRUE(result->isModified());
    EXPECT_FALSE(result->save());
    result.reset();
    result = openResult(m_marker);
    EXPECT_EQ(all(), "app1231099511627776-1 /var/app.log " + at("r000/sub/c.log ") +
                         at("r000/d.log unknown"));
    for (const auto& [stored, pretty] : rows<2>("linux Linux*; windows Windows*; bsd bsd")) {
        object(result).setRdPropStr("os", stored.c_str());
        EXPECT_EQ(text(result->getCreationOs(false)), stored);
        EXPECT_EQ(text(result->getCreationOs(true)), pretty);
    }
}

}  // namespace
