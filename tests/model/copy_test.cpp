// Trees that are copied, and nodes that are copied, moved, duplicated and exported.

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>

#include <algorithm>
#include <array>
#include <map>
#include <random>
#include <set>

#include "basekit2/descriptor.h"
#include "model_test.h"
#include "vesta/tree/remove_tree.h"

namespace {

constexpr const char* lockExtension = ".dflgzentor";
constexpr const char* infoExtension = ".infozentor";

/// Notes what it is told, and cancels at the question number `cancelAt`.
class Progress : public notify2::IProgress {
public:
    explicit Progress(int cancelAt = -1) : m_cancelAt(cancelAt) {}

    void start(const char* message, double expected) override {
        EXPECT_STREQ(message, "");
        total += expected;
        ++starts;
    }
    void advance(double amount) override { done += amount; }
    void setCurrentItem(const char* path) override { items.insert(path); }
    void finish() override { ++finishes; }
    bool isCancelled() override { return questions++ == m_cancelAt; }

    double total = 0;
    double done = 0;
    int starts = 0;
    int finishes = 0;
    int questions = 0;
    std::set<std::string> items;

private:
    int m_cancelAt;
};

class CopyTest : public ModelTest {
protected:
    static bool copyTree(const std::string& from, const std::string& to,
                         const std::vector<std::string>& patterns = {}) {
        setStatus(eOK);
        return copyDirectoryWithExlusionPattern(from, to, patterns, nullptr);
    }

    /// The paths of all entries below `directory`.
    std::vector<std::string> entries(const std::string& directory) const {
        std::vector<std::string> found;
        const fs::path top = at(directory);
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(top)) {
            found.push_back(entry.path().lexically_relative(top).native());
        }
        std::sort(found.begin(), found.end());
        return found;
    }

    void expectSame(const std::string& one, const std::string& other) const {
        ASSERT_EQ(entries(one), entries(other));
        for (const std::string& name : entries(one)) {
            struct stat a {};
            struct stat b {};
            ASSERT_EQ(::stat(at(one + "/" + name).c_str(), &a), 0);
            ASSERT_EQ(::stat(at(other + "/" + name).c_str(), &b), 0);
            EXPECT_EQ(a.st_mode, b.st_mode) << name;
            if (S_ISREG(a.st_mode)) {
                EXPECT_EQ(a.st_mtim.tv_sec, b.st_mtim.tv_sec) << name;
                EXPECT_EQ(a.st_mtim.tv_nsec, b.st_mtim.tv_nsec) << name;
                EXPECT_EQ(readFile(at(one + "/" + name)), readFile(at(other + "/" + name)));
            }
        }
    }

    std::int64_t storedBytes(const std::string& name) const {
        struct stat info {};
        EXPECT_EQ(::stat(at(name).c_str(), &info), 0);
        return info.st_blocks * 512;
    }

    /// What a file has between its holes, by offset.
    std::map<off_t, std::string> dataIn(const std::string& name) const {
        std::map<off_t, std::string> found;
        const basekit2::descriptor_t file(::open(at(name).c_str(), O_RDONLY | O_CLOEXEC));
        for (off_t end = 0, begin = 0; (begin = ::lseek(file.get(), end, SEEK_DATA)) >= 0;) {
            end = ::lseek(file.get(), begin, SEEK_HOLE);
            std::string& data = found[begin];
            data.resize(static_cast<std::size_t>(end - begin));
            EXPECT_EQ(::pread(file.get(), data.data(), data.size(), begin), end - begin);
        }
        return found;
    }

    bool isHeld(const std::string& directory) const {
        return util::lookAtFlag(at(directory), "mine").state == util::flag_state_t::held;
    }

    /// A result with a flag of this process, a few files and a large one.
    ResultHandle makeFullResult(const std::string& name, std::size_t files = 3) const {
        makeResult(at(name));
        const ResultHandle result = openResult(at(name));
        for (std::size_t i = 0; i < files; ++i) {
            writeFile(at(name + "/data." + std::to_string(i % 7) + "/" + std::to_string(i)),
                      std::string(i % 5 * 1000, 'x'));
        }
        writeFile(at(name + "/large"), std::string(20'000'000, 'y'));
        EXPECT_TRUE(result->setFlag("mine"));
        return result;
    }
};

TEST_F(CopyTest, TreeIsCopiedWithoutLinksAndWhatIsExcluded) {
    writeFile(at("from/a.csv"), "a");
    writeFile(at("from/private/b"), std::string(70'000, 'b'));
    writeFile(at("from/skipped/c"), "");
    writeFile(at("from/x.zentor"), "");
    writeFile(at("from/zentor"), "");
    writeFile(at("from/line\nbreak \xff"), "bytes");
    writeFile(at("outside"), "");
    fs::create_symlink(at("outside"), at("from/link"));
    fs::create_symlink(at("from/private"), at("from/private/loop"));
    ASSERT_EQ(::mkfifo(at("from/fifo").c_str(), 0600), 0);
    fs::permissions(at("from/a.csv"), fs::owner_read);
    fs::permissions(at("from/private"), fs::owner_all);
    const std::array<timespec, 2> old{timespec{1, 0}, timespec{1'000'000'000, 123'456'789}};
    ASSERT_EQ(::utimensat(AT_FDCWD, at("from/private/b").c_str(), old.data(), 0), 0);
    fs::create_directory(at("to"));
    ASSERT_TRUE(copyTree(at("from"), at("to"), {".zentor", "skip*"}));
    EXPECT_EQ(getStatus(), eOK);
    EXPECT_EQ(entries("to"), (std::vector<std::string>{"a.csv", "line\nbreak \xff", "private",
                                                       "private/b", "zentor"}));
    for (const char* name : {"link", "private/loop", "fifo", "skipped", "x.zentor"}) {
        removeTree(at("from/" + std::string(name)));
    }
    expectSame("from", "to");
    // What makes its content while it is read has no size.
    fs::create_directory(at("limits"));
    ASSERT_TRUE(copyTree("/proc/self/net", at("limits"), {"[!d]*", "d[!e]*"}));
    EXPECT_GT(readFile(at("limits/dev")).size(), 10U);
}

TEST_F(CopyTest, WhatIsThereAlreadyIsKept) {
    for (const char* name : {"from/1", "from/a/2", "from/a/3", "from/b/4"}) {
        writeFile(at(name), "new");
    }
    writeFile(at("to/1"), "old");
    // A file ends its own directory, with success; others go on.
    EXPECT_TRUE(copyTree(at("from"), at("to")));
    EXPECT_EQ(getStatus(), eAlreadyExists);
    EXPECT_EQ(readFile(at("to/1")), "old");
    fs::remove_all(at("to"));
    // A directory ends the whole.
    fs::create_directories(at("to/a"));
    EXPECT_FALSE(copyTree(at("from"), at("to")));
    EXPECT_EQ(getStatus(), eOK);
    EXPECT_TRUE(fs::is_empty(at("to/a")));
    // So does the way into itself, which would have no end.
    fs::create_directories(at("from/a/copy"));
    EXPECT_FALSE(copyTree(at("from"), at("from/a/copy")));
    EXPECT_EQ(getStatus(), eInvalidPath);
    setStatus(eOK);
    EXPECT_TRUE(copyDirectoryWithExlusionPattern(at("none"), at("to"), {}, nullptr));
    EXPECT_EQ(getStatus(), eNotFound);
    EXPECT_TRUE(skipOnExport("a.log", {"*.txt", "a*"}));
    EXPECT_FALSE(skipOnExport("a.log", {}));
}

TEST_F(CopyTest, FailedStepIsToldByTheStatusAndLosesNothing) {
    asOrdinaryUser([this] {
        writeFile(at("from/secret/1"), "1");
        writeFile(at("from/open/2"), "2");
        writeFile(at("from/closed/3"), "3");
        fs::permissions(at("from/secret/1"), fs::no_perms);
        fs::permissions(at("from/closed"), fs::no_perms);
        fs::create_directory(at("to"));
        EXPECT_TRUE(copyTree(at("from"), at("to")));
        EXPECT_EQ(getStatus(), eInsufficientPermissions);
        EXPECT_EQ(entries("to"), (std::vector<std::string>{"closed", "open", "open/2", "secret"}));
        unlock("from/closed");

        const ResultHandle result = makeFullResult("r000");
        fs::permissions(at("r000/data.1/1"), fs::no_perms);
        EXPECT_FALSE(result->move(at("moved").c_str(), true, nullptr));
        EXPECT_EQ(getStatus(), eInsufficientPermissions);
        EXPECT_FALSE(fs::exists(at("moved")));
        EXPECT_EQ(result->getPath(), at("r000"));
        EXPECT_TRUE(isHeld("r000"));
        EXPECT_FALSE(result->duplicate(at("double").c_str()));
        EXPECT_EQ(getStatus(), eInsufficientPermissions);
        EXPECT_FALSE(fs::exists(at("double")));
        EXPECT_TRUE(result->exportTo(at("export").c_str(), nullptr));
        EXPECT_EQ(getStatus(), eInsufficientPermissions);
        EXPECT_TRUE(result->copy(at("copy").c_str(), false, nullptr));
        EXPECT_EQ(getStatus(), eInsufficientPermissions);
        EXPECT_EQ(result->getPath(), at("copy"));

        // The old directory cannot be deleted: the node lives in the new one.
        fs::create_directory(at("locked"));
        makeResult(at("locked/r000"));
        const ResultHandle kept = openResult(at("locked/r000"));
        lock("locked");
        EXPECT_FALSE(kept->move(at("free").c_str(), false, nullptr));
        EXPECT_EQ(getStatus(), eFileError);
        EXPECT_EQ(kept->getMarkerFilePath(), at("free/r000.zentor"));
        EXPECT_FALSE(kept->copy(at("locked/copy").c_str(), false, nullptr));
        EXPECT_EQ(getStatus(), eFileError);
        unlock("locked");

        for (const char* name : {"tree/1.tmp", "tree/2/2.tmp", "tree/3.tmp", "tree/3.txt"}) {
            writeFile(at(name), "");
        }
        lock("tree/2");
        EXPECT_FALSE(removeFiles(basekit2::path_t(at("tree")), ".tmp"));
        EXPECT_EQ(entries("tree"), (std::vector<std::string>{"2", "2/2.tmp", "3.tmp", "3.txt"}));
        unlock("tree/2");
        EXPECT_TRUE(removeFiles(basekit2::path_t(at("tree")), ".tmp"));
        EXPECT_EQ(entries("tree"), (std::vector<std::string>{"2", "3.txt"}));
        EXPECT_TRUE(removeFiles(basekit2::path_t(at("tree")), ".tmp"));
        fs::permissions(at("r000/data.1/1"), fs::owner_all);
    });
}

TEST_F(CopyTest, FullDiskLeavesTheSourceAlone) {
    const ResultHandle result = makeFullResult("r000");
    const std::vector<std::string> before = entries("r000");
    fs::create_directory(at("small"));
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        const bool mounted = ::unshare(CLONE_NEWNS) == 0 &&
                             ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                             ::mount("tmpfs", at("small").c_str(), "tmpfs", 0, "size=1m") == 0;
        if (!mounted) {
            ::_exit(77);
        }
        // The flag is the parent's.
        EXPECT_EQ(result->removeFlag("mine", false), eNotOwner);
        EXPECT_FALSE(result->move(at("small/moved").c_str(), true, nullptr));
        EXPECT_EQ(getStatus(), eUnknown);
        EXPECT_FALSE(result->duplicate(at("small/double").c_str()));
        EXPECT_EQ(entries("small"), (std::vector<std::string>{}));
        EXPECT_EQ(result->getPath(), at("r000"));
        EXPECT_TRUE(result->exportTo(at("small/export").c_str(), nullptr));
        EXPECT_EQ(getStatus(), eUnknown);
        EXPECT_TRUE(result->copy(at("small/copy").c_str(), true, nullptr));
        EXPECT_EQ(getStatus(), eUnknown);
        EXPECT_FALSE(fs::exists(at("small/copy/large")));
        std::fflush(nullptr);
        ::_exit(HasFailure() ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(entries("r000"), before);
    EXPECT_TRUE(isHeld("r000"));
    if (WIFEXITED(status) && WEXITSTATUS(status) == 77) {
        GTEST_SKIP() << "no mount of its own is to be had here";
    }
    EXPECT_EQ(status, 0) << "see the failures of the child above";
}

TEST_F(CopyTest, LargeAndManyFilesComeOverWhole) {
    constexpr off_t gigabyte = 1 << 30;
    const ResultHandle result = openResult(makeResult(at("r000")));
    for (int i = 0; i < 10'000; ++i) {
        writeFile(at("r000/data.0/" + std::to_string(i)), std::to_string(i));
    }
    // Data at the beginning, in the middle and far from the end.
    writeFile(at("r000/sparse"), std::string(5000, 'a'));
    const int file = ::open(at("r000/sparse").c_str(), O_WRONLY | O_CLOEXEC);
    const std::string middle(1'000'000, 'm');
    ASSERT_EQ(::pwrite(file, middle.data(), middle.size(), gigabyte / 2 + 1),
              static_cast<ssize_t>(middle.size()));
    ASSERT_EQ(::ftruncate(file, gigabyte), 0);
    ::close(file);
    writeFile(at("r000/hole"), "");
    fs::resize_file(at("r000/hole"), 3'000'000);
    const std::int64_t stored = storedBytes("r000/sparse");
    ASSERT_LT(stored, 3'000'000) << "this file system has no holes";

    Progress progress;
    ASSERT_TRUE(result->copy(at("copy").c_str(), false, &progress));
    EXPECT_EQ(progress.done, progress.total);
    EXPECT_EQ(progress.items.size(), 10'003U);
    EXPECT_EQ(progress.starts, 1);
    EXPECT_EQ(progress.finishes, 1);
    EXPECT_LE(storedBytes("copy/sparse"), stored + 64 * 1024);
    EXPECT_EQ(storedBytes("copy/hole"), 0);
    EXPECT_EQ(fs::file_size(at("copy/sparse")), static_cast<std::uintmax_t>(gigabyte));
    EXPECT_TRUE(dataIn("r000/sparse") == dataIn("copy/sparse"));
    fs::remove(at("r000/sparse"));
    fs::remove(at("copy/sparse"));
    expectSame("r000", "copy");
}

TEST_F(CopyTest, CancelledCopyLeavesNothing) {
    const ResultHandle result = makeFullResult("r000", 60);
    const std::string record = readFile(at("r000/mine" + std::string(infoExtension)));
    Progress whole;
    ASSERT_TRUE(result->copy(at("first").c_str(), false, &whole));
    ASSERT_TRUE(result->move(at("again").c_str(), false, nullptr));
    const std::vector<std::string> before = entries("again");
    std::mt19937 random(1);
    for (int round = 0; round < 50; ++round) {
        Progress progress(static_cast<int>(random() % static_cast<unsigned>(whole.questions)));
        EXPECT_FALSE(round % 2 == 0 ? result->copy(at("to").c_str(), true, &progress)
                                    : result->move(at("to").c_str(), true, &progress));
        EXPECT_EQ(getStatus(), eFileError);
        EXPECT_EQ(progress.finishes, progress.starts);
        ASSERT_FALSE(fs::exists(at("to")));
        ASSERT_EQ(entries("again"), before);
        ASSERT_EQ(result->ownFlag("mine"), eOK);
        ASSERT_TRUE(isHeld("again"));
    }
    EXPECT_EQ(readFile(at("again/mine" + std::string(infoExtension))), record);
    // Within the large file as well, of which no part stays.
    writeFile(at("large/file"), std::string(20'000'000, 'z'));
    fs::create_directory(at("part"));
    for (int question = 0; question < 6; ++question) {
        Progress progress(question);
        copyDirectoryWithExlusionPattern(at("large"), at("part"), {}, &progress);
        fs::remove(at("part/file"));
        EXPECT_TRUE(progress.done == 0 || progress.done >= 8 * 1024 * 1024) << progress.done;
    }
    Progress second(4);
    EXPECT_FALSE(copyDirectoryWithExlusionPattern(at("large"), at("part"), {}, &second));
    EXPECT_TRUE(fs::is_empty(at("part")));
}

TEST_F(CopyTest, NodeLivesOnInItsCopy) {
    const sptr_t<IProject> project = makeProject(at("p"));
    makeResult(at("p/r000"));
    const ResultHandle result = openResult(at("p/r000"));
    ASSERT_TRUE(result->setFlag("mine"));
    ASSERT_TRUE(result->setFlag("other"));
    writeFile(at("p/r000/foreign" + std::string(lockExtension)), "");
    const std::string record = readFile(at("p/r000/mine" + std::string(infoExtension)));
    fs::permissions(at("p/r000"), fs::owner_all);

    ASSERT_TRUE(result->copy(at("far").c_str(), true, nullptr));
    EXPECT_EQ(getStatus(), eOK);
    EXPECT_EQ(result->getMarkerFilePath(), at("far/far.zentor"));
    EXPECT_EQ(fs::status(at("far")).permissions(), fs::owner_all) << "no more open than the source";
    EXPECT_EQ(entries("p/r000"), (std::vector<std::string>{"foreign.dflgzentor", "r000.zentor"}));
    EXPECT_EQ(readFile(at("far/mine" + std::string(infoExtension))), record);
    EXPECT_EQ(result->ownFlag("mine"), eOK);
    EXPECT_EQ(result->ownFlag("other"), eOK);
    EXPECT_EQ(text(result->getLinkFilePath()), at("p/far.zentorlink")) << "still of the project";
    EXPECT_EQ(openResult(at("far")).get(), result.get());

    ASSERT_TRUE(result->move(at("p/back").c_str(), false, nullptr));
    EXPECT_FALSE(fs::exists(at("far")));
    EXPECT_EQ(result->getMarkerFilePath(), at("p/back/far.zentor"));
    EXPECT_FALSE(fs::exists(at("p/far.zentorlink"))) << "lies in its project again";
    EXPECT_EQ(entries("p/back").size(), 5U);

    ASSERT_TRUE(project->move(at("q/").c_str(), true, nullptr));
    EXPECT_EQ(text(project->getPath()), at("q"));
    EXPECT_EQ(text(project->getNodeGroup()->getPath()), at("q"));
    EXPECT_EQ(text(project->getNodeGroup()->getOutputDirectory()), at("q"));
    EXPECT_EQ(project->getMarkerFilePath(), at("q/q.zentorproj"));

    const struct {
        Text destination;
        vesta2::error_t code;
    } refused[] = {
        {nullptr, eParameterError}, {"", eParameterError},    {"q", eAlreadyExists},
        {"none/below", eFileError}, {"q/itself", eFileError}, {"q/back/deep", eFileError},
    };
    for (const auto& each : refused) {
        const std::string path = each.destination && *each.destination ? at(each.destination) : "";
        EXPECT_FALSE(project->move(each.destination ? path.c_str() : nullptr, true, nullptr));
        EXPECT_EQ(getStatus(), each.code) << path;
    }
    Progress cancelled(0);
    EXPECT_FALSE(project->copy(at("new").c_str(), true, &cancelled));
    EXPECT_EQ(cancelled.starts, 0);
    EXPECT_FALSE(fs::exists(at("new")));
}

TEST_F(CopyTest, DuplicateIsANodeOfItsOwn) {
    const sptr_t<IProject> project = makeProject(at("p"));
    const ResultHandle result = openResult(makeResult(at("r000")));
    ASSERT_TRUE(result->setParent(at("p").c_str()));
    ASSERT_TRUE(result->isLinked());
    result->setCollectorCommand("run");
    result->save();
    result->setFinalized(true);
    writeFile(at("r000/data.0/1"), "1");
    ASSERT_TRUE(result->setFlag("mine"));

    const auto copy = IResultDirectory::cast(result->duplicate(at("r@@@").c_str()));
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->getMarkerFilePath(), at("r001/r001.zentor"));
    EXPECT_EQ(entries("r001"),
              (std::vector<std::string>{".norun", "data.0", "data.0/1", "r001.zentor"}));
    EXPECT_STREQ(copy->getCollectorCommand(), "run");
    EXPECT_TRUE(copy->isFinalized());
    EXPECT_FALSE(copy->isLinked());
    EXPECT_FALSE(load(at("r001/r001.zentor")).get_bag("vesta")->has("backlink"));
    EXPECT_TRUE(result->isLinked());
    EXPECT_EQ(result->ownFlag("mine"), eOK);

    writeFile(at("p/notes"), "n");
    const NodeHandle second = project->duplicate(at("q").c_str());
    ASSERT_TRUE(second);
    EXPECT_EQ(second->getMarkerFilePath(), at("q/p.zentorproj")) << "keeps its source's name";
    const sptr_t<IExperiment> experiment = makeExperiment(at("p/e"));
    const NodeHandle third = experiment->duplicate(at("p/f").c_str());
    EXPECT_EQ(text(third->getMarkerFilePath()), at("p/f/e.zentorexp"));
    // What is there already is nobody's copy.
    writeFile(at("full/notes"), "n");
    for (const NodeHandle& node : {NodeHandle(result), NodeHandle(project), third}) {
        EXPECT_FALSE(node->duplicate(at("full").c_str()));
        EXPECT_EQ(getStatus(), eAlreadyExists);
        EXPECT_FALSE(node->duplicate(nullptr));
        EXPECT_FALSE(node->duplicate((std::string(node->getPath()) + "/inside").c_str()));
        EXPECT_FALSE(fs::exists(std::string(node->getPath()) + "/inside"));
    }
    EXPECT_EQ(entries("full"), (std::vector<std::string>{"notes"}));
}

TEST_F(CopyTest, ExportIsAResultWithAMarkerOfItsOwn) {
    const sptr_t<IProject> project = makeProject(at("p"));
    const ResultHandle result = openResult(makeResult(at("r000")));
    ASSERT_TRUE(result->setParent(at("p").c_str()));
    result->setCollectorCommand("run");
    for (const char* name : {"r000/a.csv", "r000/data.0/b.csv", "r000/data.0/c.txt",
                             "r000/x.dflgzentor", "r000/old.zentor"}) {
        writeFile(at(name), "");
    }
    fs::create_symlink(at("p"), at("r000/link"));

    const ResultHandle exported = result->exportTo(at("x@@@").c_str(), "\n\n*.csv\n");
    ASSERT_TRUE(exported);
    EXPECT_EQ(getStatus(), eOK);
    EXPECT_EQ(exported->getMarkerFilePath(), at("x000/x000.zentor"));
    EXPECT_EQ(entries("x000"),
              (std::vector<std::string>{"data.0", "data.0/c.txt", "x.dflgzentor", "x000.zentor"}));
    EXPECT_STREQ(exported->getCollectorCommand(), "run") << "as it is in memory";
    EXPECT_FALSE(exported->isLinked());
    EXPECT_EQ(text(result->getLinkFilePath()), at("p/r000.zentorlink"));
    const std::string patterns = flagFilePatterns()[0] + "\n" + flagFilePatterns()[1];
    ASSERT_TRUE(result->exportTo(at("y").c_str(), patterns.c_str()));
    EXPECT_EQ(entries("y").size(), 5U);

    EXPECT_FALSE(result->exportTo(at("y").c_str(), nullptr));
    EXPECT_EQ(getStatus(), eAlreadyExists);
    EXPECT_FALSE(result->exportTo(at("a<b").c_str(), nullptr));
    EXPECT_EQ(getStatus(), eReservedCharacters);
    EXPECT_FALSE(result->exportTo(nullptr, nullptr));
    EXPECT_FALSE(result->exportTo(at("r000/inside").c_str(), nullptr));
    EXPECT_EQ(getStatus(), eInvalidPath);
}

}  // namespace
