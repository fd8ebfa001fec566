// Trees that are copied and removed, and nodes that are copied, moved, duplicated and exported.
// What becomes of copies on a full disk, and when the process is killed, is tortured.

#include <fcntl.h>
#include <sys/resource.h>

#include <fstream>
#include <random>

#include "basekit2/descriptor.h"
#include "model_test.h"
#include "vesta/tree/remove_tree.h"

namespace {

/// Notes what it is told, and cancels at the question number `cancelAt`.
struct Progress : notify2::IProgress {
    explicit Progress(int at = -1) : cancelAt(at) {}

    void start(const char* message, double expected) override {
        EXPECT_STREQ(message, "");
        total += expected;
        events += "start ";
    }
    void advance(double amount) override {
        EXPECT_EQ(std::this_thread::get_id(), caller);
        done += amount;
        steps[item].push_back(amount);
    }
    void setCurrentItem(const char* path) override {
        EXPECT_EQ(std::this_thread::get_id(), caller);
        steps[item = path];
        atItem();
    }
    void finish() override {
        events += "finish";
        atEnd();
    }
    bool isCancelled() override {
        EXPECT_EQ(std::this_thread::get_id(), caller);
        return questions++ == cancelAt;
    }

    std::thread::id caller = std::this_thread::get_id();
    int cancelAt;
    double total = 0;
    double done = 0;
    int questions = 0;
    std::string events;
    std::string item;
    std::map<std::string, std::vector<double>> steps;  ///< by file
    std::function<void()> atItem = [] {};
    std::function<void()> atEnd = [] {};
};

class CopyTest : public ModelTest {
protected:
    /// What a copy of the tree has come to: its answer, and the status.
    static std::string copyTree(const std::string& from, const std::string& to,
                                const std::vector<std::string>& patterns = {},
                                Progress* progress = nullptr) {
        setStatus(eOK);
        return answer(copyDirectoryWithExlusionPattern(from, to, patterns, progress));
    }
    /// All that a copy preserves of a tree.
    static std::string contents(const std::string& directory) {
        std::ostringstream all;
        for (const std::string& name : support::pathsBelow(directory)) {
            const std::string path = directory + "/" + name;
            struct stat info {};
            EXPECT_EQ(::stat(path.c_str(), &info), 0) << path;
            all << '\n' << name << ' ' << info.st_mode << ' ';
            if (S_ISREG(info.st_mode)) {
                all << info.st_mtim.tv_sec << '.' << info.st_mtim.tv_nsec << ' ' << readFile(path);
            }
        }
        return all.str();
    }
    /// Where what a file has between its holes begins and ends, by turns.
    static std::vector<off_t> dataIn(const char* name) {
        std::vector<off_t> found;
        const basekit2::descriptor_t file(::open(name, O_RDONLY | O_CLOEXEC));
        for (off_t end = 0, begin = 0; (begin = ::lseek(file.get(), end, SEEK_DATA)) >= 0;) {
            end = ::lseek(file.get(), begin, SEEK_HOLE);
            found.insert(found.end(), {begin, end});
        }
        return found;
    }
};

TEST_F(CopyTest, TreeIsCopiedWithoutLinksAndWhatIsExcluded) {
    writeFile("from/line\nbreak \xff", "odd");
    writeFile("from/private/b", std::string(70'000, 'b'));
    play(R"(write from/a.csv from/skipped/c from/x.zentor from/zentor from/.bagtmp-host-1-2 outside
            write from/private/.bagtmp-host-1-2; symlink outside from/link; mkdir to limits
            symlink from/private from/private/loop; chmod 400 from/a.csv; chmod 700 from/private)");
    ASSERT_EQ(::mkfifo("from/fifo", 0600), 0);
    const std::array<timespec, 2> old{timespec{1, 0}, timespec{1'000'000'000, 123'456'789}};
    ASSERT_EQ(::utimensat(AT_FDCWD, "from/private/b", old.data(), 0), 0);
    EXPECT_EQ(copyTree("from", "to", {".zentor", "skip*"}), "ok");
    EXPECT_EQ(entries("to"), "a.csv line\nbreak \xff private private/b zentor");
    play(R"(rm from/link from/private/loop from/fifo from/skipped from/x.zentor
            rm from/.bagtmp-host-1-2 from/private/.bagtmp-host-1-2)");
    EXPECT_EQ(contents("from"), contents("to"));
    // What makes its content while it is read has no size.
    EXPECT_EQ(copyTree("/proc/self/net", "limits", {"[!d]*", "d[!e]*"}), "ok");
    EXPECT_GT(readFile("limits/dev").size(), 10U);
}

TEST_F(CopyTest, WhatIsThereAlreadyIsKept) {
    play("write from/1 from/a/2 from/a/3 from/b/4 to/1");
    EXPECT_EQ(copyTree("from", "to"), "ok exists") << "ends one directory";
    play("read to/1 -> to/1; rm to; mkdir to/a");
    EXPECT_EQ(copyTree("from", "to"), "no ok") << "a directory ends the whole";
    play("tree to/a ->; mkdir from/a/copy");
    EXPECT_EQ(copyTree("from", at("from/a/copy")), "no path");
    EXPECT_EQ(copyTree("none", "to"), "ok not-found");
    EXPECT_EQ(copyTree("", "to"), "no parameter");
    EXPECT_EQ(copyTree("from", ""), "no parameter");
}

TEST_F(CopyTest, LargeAndManyFilesComeOverWhole) {
    constexpr off_t size = 30'000'000;
    play("result r000; write r000/empty r000/hole");
    for (int i = 0; i < 10'000; ++i) {
        writeFile("r000/data.0/" + std::to_string(i), std::to_string(i));
    }
    // Data at the beginning, in the middle and far from the end.
    writeFile("r000/sparse", std::string(5000, 'a'));
    fs::resize_file("r000/sparse", size / 2 + 1);
    std::ofstream("r000/sparse", std::ios::app) << std::string(1'000'000, 'm');
    fs::resize_file("r000/sparse", size);
    fs::resize_file("r000/empty", 0);
    fs::resize_file("r000/hole", 0);
    fs::resize_file("r000/hole", 3'000'000);

    Progress progress;
    ASSERT_TRUE(result("r000")->copy("copy", false, &progress));
    EXPECT_EQ(progress.done, progress.total);
    EXPECT_EQ(progress.steps.size(), 10'004U);
    EXPECT_EQ(progress.steps[at("r000/empty")], std::vector<double>{0});
    EXPECT_EQ(progress.steps[at("r000/hole")], std::vector<double>{3'000'000});
    EXPECT_GT(progress.steps[at("r000/sparse")].size(), 1U);
    EXPECT_EQ(progress.events, "start finish");
    ASSERT_EQ(dataIn("r000/sparse").size(), 4U) << "this file system has no holes";
    EXPECT_EQ(dataIn("r000/sparse"), dataIn("copy/sparse"));
    EXPECT_THAT(dataIn("copy/hole"), IsEmpty());
    EXPECT_TRUE(contents("r000") == contents("copy"));
}

TEST_F(CopyTest, WorkersKeepTheOrderOfMarksAndLeaveSignalsToTheApplication) {
    for (int i = 0; i < 2000; ++i) {
        writeFile("from/" + std::to_string(i % 10) + "/below/" + std::to_string(i),
                  std::string(i % 50 == 0 ? 100'000U : 10U, 'x'));
        writeFile("from/" + std::to_string(i % 10) + "/r.zentor", "");
    }
    fs::create_directory("to");
    unsigned workers = 0;
    Progress progress;
    progress.atItem = [&] {
        for (const fs::directory_entry& task : fs::directory_iterator("/proc/self/task")) {
            const std::string status = readFile((task.path() / "status").string());
            const bool isWorker = task.path().filename() != std::to_string(::gettid());
            workers += isWorker ? 1 : 0;
            EXPECT_TRUE(!isWorker || status.find("\nSigBlk:\tfffffff") != std::string::npos);
        }
        const std::string item = progress.item.substr(at("from").size());
        if (item.ends_with("/r.zentor")) {
            const std::string below = item.substr(0, 3) + "below";
            EXPECT_TRUE(contents("from" + below) == contents("to" + below));
        }
    };
    EXPECT_EQ(copyTree(at("from"), "to", {}, &progress), "ok");
    EXPECT_TRUE(contents("from") == contents("to"));
    EXPECT_TRUE(workers > 0 || std::thread::hardware_concurrency() == 1);
}

TEST_F(CopyTest, WorkersFailAsOneThreadDoes) {
    asOrdinaryUser([this] {
        for (int i = 0; i < 300; ++i) {
            writeFile("from/good/" + std::to_string(i), "");
            writeFile("from/bad/" + std::to_string(i), "");
        }
        play("write from/r.zentor from/bad/r.zentor from/good/r.zentor; chmod 0 from/bad/150");
        for (const bool canStartThreads : {true, false}) {
            constexpr rlimit none{0, 0};
            ASSERT_TRUE(canStartThreads || ::setrlimit(RLIMIT_NPROC, &none) == 0);
            fs::create_directory("to");
            EXPECT_EQ(copyTree("from", "to"), "ok permission");
            EXPECT_TRUE(contents("from/good") == contents("to/good"));
            EXPECT_TRUE(fs::exists("to/r.zentor") && !fs::exists("to/bad/r.zentor"));
            EXPECT_FALSE(fs::exists("to/bad/150"));
            removeTree("to");
        }
    });
}

TEST_F(CopyTest, ADeepTreeNeedsNeitherStackNorDescriptorsNorPaths) {
    constexpr unsigned levels = 5000;
    constexpr unsigned sideways = levels / 20;
    fs::create_directories("from");
    fs::current_path("from");
    for (unsigned i = 0; i < levels; ++i) {
        fs::create_directory("way-down");
        // What is beside the way down is found again on the way up.
        for (const std::string name : {"a", "z"}) {
            if (i % 20 == 0) {
                fs::create_directory(name);
                std::ofstream(name + "/file") << "12";
            }
        }
        fs::current_path("way-down");
    }
    fs::current_path(m_temp.path());
    onStack(256 * 1024, [] {
        constexpr rlimit few{64, 64};
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
        fs::create_directory("to");
        EXPECT_EQ(copyTree("from", "to"), "ok");
        for (const char* name : {"from", "to"}) {
            EXPECT_EQ(calcDirectoryFilesCount(name), 2 * sideways);
            EXPECT_EQ(calcDirectoryFilesSize(name), 4 * sideways);
            EXPECT_EQ(removeTree(name), 1 + levels + 4 * sideways);
        }
    });
}

TEST_F(CopyTest, ADirectoryThatIsMovedLeadsNobodyOutOfItsTree) {
    // Deeper than what is kept open, so that the way back up is looked for.
    std::string deep = "tree";
    for (int i = 0; i < 30; ++i) {
        deep += "/d";
    }
    writeFile(deep + "/file", "");
    play("write outside/d/kept; mkdir to");
    Progress mover;
    mover.atItem = [] { fs::rename("tree/d/d/d/d", "outside/d/moved"); };
    EXPECT_THAT(copyTree("tree", "to", {}, &mover), testing::StartsWith("ok ")) << "it is lost";
    EXPECT_FALSE(fs::exists("to/kept"));
}

TEST_F(CopyTest, AMoveDeletesWhatItCopiedAndNothingElse) {
    play("result r; write r/data.0/somebodys-own.infozentor");
    writeFile("r/data.0/log", "some");
    const ResultHandle result = openResult("r");
    EXPECT_FALSE(result->move("m", true, nullptr));
    EXPECT_FALSE(fs::exists("m")) << "it would lack a file";
    fs::rename("r/data.0/somebodys-own.infozentor", "r/flag.infozentor");
    Progress progress;
    progress.atEnd = [] {
        writeFile("r/data.0/new", "late");
        std::ofstream("r/data.0/log", std::ios::app) << ", more";
    };
    EXPECT_FALSE(result->move("m", true, &progress));
    EXPECT_STREQ(result->getPath(), at("m").c_str());
    play("read m/data.0/log -> some; read r/data.0/log -> some, more; read r/data.0/new -> late");
    EXPECT_TRUE(result->move("n", true, nullptr)) << "nothing has changed there";
    EXPECT_FALSE(fs::exists("m"));
}

TEST_F(CopyTest, APartOfWhatIsBeingDeletedIsNoCopy) {
    makeResult("r");
    const std::string note = basekit2::make_bag_temporary().append(basekit2::removal_suffix);
    Progress progress;
    progress.atItem = [&] { writeFile("r/" + note, ""); };
    EXPECT_EQ(answer(openResult("r")->copy("c", true, &progress)), "no not-found");
    EXPECT_FALSE(fs::exists("c"));
}

TEST_F(CopyTest, CancelledCopyLeavesNothing) {
    play("result r000; hold r r000; flag r mine");
    for (std::size_t i = 0; i < 210; ++i) {
        writeFile("r000/data." + std::to_string(i % 7) + "/" + std::to_string(i),
                  std::string(i % 5 * 1000, 'x'));
    }
    writeFile("r000/large", std::string(20'000'000, 'y'));
    const ResultHandle result = this->result("r");
    Progress whole;
    ASSERT_TRUE(result->copy("first", false, &whole));
    ASSERT_TRUE(result->move("again", false, nullptr));
    const std::string before = entries("again");
    play("note again/mine.infozentor");
    std::mt19937 random(1);
    const auto questions = static_cast<std::size_t>(whole.questions);
    for (int round = 0; round < 50; ++round) {
        Progress progress(round == 0 ? 0 : static_cast<int>(random() % questions));
        progress.atEnd = [] {
            EXPECT_FALSE(fs::exists("to"));
            EXPECT_EQ(util::lookAtFlag("again", "mine").state(), util::flag_state_t::held);
        };
        EXPECT_EQ(answer(round % 2 == 0 ? result->copy("to", true, &progress)
                                        : result->move("to", true, &progress)),
                  "no error");
        EXPECT_EQ(progress.events, progress.cancelAt == 0 ? "" : "start finish");
        ASSERT_FALSE(fs::exists("to"));
        ASSERT_EQ(entries("again"), before);
        play("own r mine; unchanged");
    }
    // Within the large file as well, of which no part stays.
    play("mkdir large part; mv again/large large/file");
    for (int question = 0; question < 6; ++question) {
        Progress progress(question);
        copyTree("large", "part", {}, &progress);
        EXPECT_EQ(fs::exists("part/file"), progress.done == 20'000'000);
        fs::remove("part/file");
        EXPECT_TRUE(progress.done == 0 || progress.done >= 8 * 1024 * 1024) << progress.done;
    }
}

}  // namespace
