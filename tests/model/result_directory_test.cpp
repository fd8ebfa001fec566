#include "model_test.h"

namespace {

using ::testing::ElementsAre;

class ResultDirectoryTest : public ModelTest {
protected:
    std::vector<std::string> relative(const sptr_t<IPathIterator>& paths) const {
        std::vector<std::string> found;
        while (const char* path = paths->next()) {
            found.push_back(fs::relative(path, at("r000")).native());
        }
        return found;
    }
    const std::string m_marker = makeResult(at("r000"));
};

TEST_F(ResultDirectoryTest, IsFinalizedByAFileThatIsWrittenOnChangeOnly) {
    const ResultHandle result = openResult(m_marker);
    EXPECT_FALSE(result->isFinalized());
    EXPECT_TRUE(result->setFinalized(true));
    EXPECT_TRUE(fs::is_regular_file(at("r000/.norun")));
    fs::remove(at("r000/.norun"));
    EXPECT_TRUE(result->setFinalized(true));
    EXPECT_FALSE(fs::exists(at("r000/.norun"))) << "it is so in memory already";
    EXPECT_TRUE(result->setFinalized(false)) << "a mark that is gone is no failure";
    EXPECT_EQ(getStatus(), eOK);
    EXPECT_FALSE(result->isFinalized());
}

TEST_F(ResultDirectoryTest, ReportsAFailedFinalizationByTheStatusAlone) {
    asOrdinaryUser([this] {
        const ResultHandle result = openResult(makeResult(at("locked")));
        lock("locked");
        EXPECT_TRUE(result->setFinalized(true));
        EXPECT_EQ(getStatus(), eInsufficientPermissions);
        EXPECT_FALSE(result->isFinalized());
        EXPECT_EQ(result->getSubdir(configDir), nullptr);
        EXPECT_EQ(result->createCollectorDataDir(), nullptr);
        EXPECT_EQ(getStatus(), eInsufficientPermissions);
        // The mark could not be made in the old place, which could not be deleted either.
        result->setInvalid();
        EXPECT_EQ(getStatus(), eFileError);
        EXPECT_TRUE(fs::exists(at("locked/locked.zentor")));
        EXPECT_FALSE(openResult(at("locked-bad"))->isValid());
        unlock("locked");
    });
}

TEST_F(ResultDirectoryTest, ReadsItsStateFromMarksOfAnyKind) {
    EXPECT_TRUE(openResult(m_marker)->isValid());
    writeFile(at("r000/.norun"), "");
    EXPECT_TRUE(openResult(m_marker)->isFinalized());
    fs::create_directory(at("r000/.bad"));
    EXPECT_FALSE(openResult(m_marker)->isValid());
    fs::remove(at("r000/.bad"));
    writeFile(at("r000/data.0/sample"), "1");
    const ResultHandle moved = openResult(m_marker);
    moved->setInvalid();
    EXPECT_EQ(moved->getMarkerFilePath(), at("r000-bad/r000-bad.zentor"));
    EXPECT_EQ(readFile(at("r000-bad/data.0/sample")), "1");
    EXPECT_FALSE(fs::exists(at("r000")));
    EXPECT_FALSE(openResult(at("r000-bad"))->isValid());
    const ResultHandle other = openResult(makeResult(at("r001")));
    EXPECT_TRUE(other->remove());
    EXPECT_FALSE(other->isValid());
}

TEST_F(ResultDirectoryTest, MarksAreMadeThroughNothingElse) {
    const Rows<std::string, vesta2::error_t> planted{{"link", eUnknown}, {"pipe", eUnknown}};
    for (const auto& [kind, code] : planted) {
        const std::string name = "planted-" + kind;
        const ResultHandle result = openResult(makeResult(at(name)));
        writeFile(at("precious"), "content");
        for (const char* mark : {"/.norun", "/.bad"}) {
            ASSERT_EQ(kind == "link" ? ::symlink(at("precious").c_str(), at(name + mark).c_str())
                                     : ::mkfifo(at(name + mark).c_str(), 0600),
                      0);
        }
        EXPECT_TRUE(result->setFinalized(true));
        EXPECT_EQ(getStatus(), code) << kind;
        EXPECT_FALSE(result->isFinalized());
        result->setInvalid();
        EXPECT_EQ(readFile(at("precious")), "content");
        // In its new place, where nothing was planted, it is marked.
        EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(at(name + "-bad/.bad")))) << kind;
    }
}

TEST_F(ResultDirectoryTest, DataDirectoriesTakeTheFreeNumbers) {
    const ResultHandle result = openResult(m_marker);
    for (const char* name : {"data.0", "data.2", "data.10", "data", "data.old"}) {
        fs::create_directory(at("r000/" + std::string(name)));
    }
    writeFile(at("r000/data.5"), "");
    EXPECT_EQ(IResultDirectory::generateCollectorDataDirName(at("r000")), "data.1");
    for (const char* next : {"r000/data.1", "r000/data.3", "r000/data.4", "r000/data.6"}) {
        EXPECT_EQ(text(result->createCollectorDataDir()), at(next));
    }
    EXPECT_THAT(relative(result->getCollectorDataDirectories()),
                ElementsAre("data.0", "data.1", "data.10", "data.2", "data.3", "data.4", "data.6",
                            "data.old"));
    fs::remove_all(at("r000"));
    setStatus(eFileLocked);
    EXPECT_FALSE(result->getCollectorDataDirectories());
    EXPECT_FALSE(result->getResultFiles(nullptr));
    EXPECT_EQ(getStatus(), eFileLocked);
}

TEST_F(ResultDirectoryTest, ListsTheFilesOfItsDataDirectories) {
    const ResultHandle result = openResult(m_marker);
    for (const char* file : {"data.0/a.csv", "data.0/b.txt", "data.10/a.csv", "data.2/z",
                             "data.2/sub/x", "other/a.csv"}) {
        writeFile(at("r000/" + std::string(file)), "");
    }
    EXPECT_THAT(
        relative(result->getResultFiles(nullptr)),
        ElementsAre("data.0/a.csv", "data.0/b.txt", "data.10/a.csv", "data.2/sub", "data.2/z"));
    EXPECT_THAT(relative(result->getResultFiles("*.csv")),
                ElementsAre("data.0/a.csv", "data.10/a.csv"));
    EXPECT_THAT(relative(result->getResultFiles("-1")), ElementsAre("data.2/z"));
}

TEST_F(ResultDirectoryTest, MakesItsSubdirectories) {
    const ResultHandle result = openResult(m_marker);
    EXPECT_EQ(text(result->getSubdir(sourceDir)), at("r000/source"));
    EXPECT_EQ(text(result->getSubdir(configDir)), at("r000/config"));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(text(result->getSubdir("a/b")), at("r000/a/b"));
        EXPECT_TRUE(fs::is_directory(at("r000/a/b")));
    }
    EXPECT_EQ(result->getSubdir("r000.zentor/x"), nullptr);
    EXPECT_EQ(getStatus(), eUnknown);
    EXPECT_EQ(result->getSubdir(nullptr), nullptr);
    EXPECT_EQ(getStatus(), eParameterError);
    setStatus(eUnknown);
    EXPECT_EQ(result->getSubdir(static_cast<standard_dir_t>(2)), nullptr);
    EXPECT_EQ(getStatus(), eUnknown) << "left as it was";
}

TEST_F(ResultDirectoryTest, PropertiesHaveDefaultsAndAreSaved) {
    writeFile(m_marker, "<bag v=\"1\"/>");
    {
        const ResultHandle result = openResult(m_marker);
        EXPECT_STREQ(result->getCreationHostName(), "unknown");
        EXPECT_EQ(result->getMpiRank(), -1);
        EXPECT_EQ(result->getCollectorCommand(), nullptr);
        EXPECT_EQ(result->getCollectionTimeBegin() + result->getCPUFrequency(), 0);
        EXPECT_EQ(result->getApplicationLog(), at("r000/application.log"));
        EXPECT_EQ(result->getCollectorLog(), at("r000/collector.log"));
        EXPECT_EQ(result->getCommandLog(), at("r000/command.log"));
        result->setCollectorCommand("app --x");
        result->setCollectionTimeBegin(1);
        result->setCollectionTimeEnd(2);
        result->setFinalizationTimeBegin(3);
        result->setFinalizationTimeEnd(1L << 40);
        result->setApplicationLog("/var/app.log");
        result->setCollectorLog("sub/c.log");
        EXPECT_TRUE(result->isModified());
        EXPECT_FALSE(result->save());
        for (const auto set :
             {&IResultDirectory::setCollectorCommand, &IResultDirectory::setApplicationLog,
              &IResultDirectory::setCollectorLog, &IResultDirectory::setCommandLog}) {
            setStatus(eOK);
            ((*result).*set)(nullptr);
            EXPECT_EQ(getStatus(), eParameterError);
        }
        result->setCollectionTimeEnd(2);
        EXPECT_TRUE(result->isModified());
    }
    const ResultHandle result = openResult(m_marker);
    EXPECT_STREQ(result->getCollectorCommand(), "app --x");
    EXPECT_EQ(result->getCollectionTimeBegin(), 1);
    EXPECT_EQ(result->getCollectionTimeEnd(), 2);
    EXPECT_EQ(result->getFinalizationTimeBegin(), 3);
    EXPECT_EQ(result->getFinalizationTimeEnd(), 1L << 40);
    EXPECT_EQ(result->getApplicationLog(), "/var/app.log") << "a full path stays as it is";
    EXPECT_EQ(result->getCollectorLog(), at("r000/sub/c.log"));
    for (const auto& [stored, pretty] : Rows<Text, Text>{
             {"linux", "Linux*"}, {"windows", "Windows*"}, {"Linux", "Linux"}, {"bsd", "bsd"}}) {
        object(result).setRdPropStr("os", stored);
        EXPECT_STREQ(result->getCreationOs(false), stored);
        EXPECT_STREQ(result->getCreationOs(true), pretty);
    }
}

TEST_F(ResultDirectoryTest, SizeLeavesLinksOut) {
    writeFile(at("outside/file"), std::string(1000, 'x'));
    const ResultHandle result = openResult(m_marker);
    const std::uint64_t empty = result->getSize();
    EXPECT_EQ(empty, fs::file_size(m_marker));
    EXPECT_EQ(result->getFilesCount(), 1U);
    writeFile(at("r000/a/b/c"), std::string(10, 'x'));
    writeFile(at("r000/d"), std::string(5, 'x'));
    fs::create_symlink(at("outside/file"), at("r000/link"));
    fs::create_symlink(at("outside"), at("r000/a/directory"));
    fs::create_symlink(at("r000"), at("r000/a/circle"));
    fs::create_symlink("nowhere", at("r000/dangling"));
    ASSERT_EQ(::mkfifo(at("r000/fifo").c_str(), 0600), 0);
    EXPECT_EQ(result->getFilesCount(), 3U);
    EXPECT_EQ(result->getSize(), empty + 15);
}

}  // namespace
