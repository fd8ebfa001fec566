// Trees that are copied and removed.

#include "copy_test.h"

#include <sys/resource.h>

#include <array>
#include <atomic>

#include "vesta/tree/remove_tree.h"

namespace {

using Outcome = std::pair<bool, vesta2::error_t>;

TEST_F(CopyTest, TreeIsCopiedWithoutLinksAndWhatIsExcluded) {
    for (const char* name :
         {"from/a.csv", "from/skipped/c", "from/x.zentor", "from/zentor", "from/line\nbreak \xff",
          "from/.bagtmp-host-1-2", "from/private/.bagtmp-host-1-2", "outside"}) {
        writeFile(name, name);
    }
    writeFile("from/private/b", std::string(70'000, 'b'));
    fs::create_symlink(at("outside"), "from/link");
    fs::create_symlink(at("from/private"), "from/private/loop");
    ASSERT_EQ(::mkfifo("from/fifo", 0600), 0);
    ::chmod("from/a.csv", 0400);
    ::chmod("from/private", 0700);
    const std::array<timespec, 2> old{timespec{1, 0}, timespec{1'000'000'000, 123'456'789}};
    ASSERT_EQ(::utimensat(AT_FDCWD, "from/private/b", old.data(), 0), 0);
    fs::create_directory("to");
    EXPECT_EQ(copyTree("from", "to", {".zentor", "skip*"}), Outcome(true, eOK));
    EXPECT_EQ(entries("to"), "a.csv line\nbreak \xff private private/b zentor");
    for (const char* name : {"link", "private/loop", "fifo", "skipped", "x.zentor",
                             ".bagtmp-host-1-2", "private/.bagtmp-host-1-2"}) {
        removeTree("from/" + std::string(name));
    }
    expectSame("from", "to");
    // What makes its content while it is read has no size.
    fs::create_directory("limits");
    EXPECT_EQ(copyTree("/proc/self/net", "limits", {"[!d]*", "d[!e]*"}), Outcome(true, eOK));
    EXPECT_GT(readFile("limits/dev").size(), 10U);
}

TEST_F(CopyTest, WhatIsThereAlreadyIsKept) {
    for (const char* name : {"from/1", "from/a/2", "from/a/3", "from/b/4"}) {
        writeFile(name, "new");
    }
    writeFile("to/1", "old");
    EXPECT_EQ(copyTree("from", "to"), Outcome(true, eAlreadyExists)) << "ends one directory";
    EXPECT_EQ(readFile("to/1"), "old");
    fs::remove_all("to");
    fs::create_directories("to/a");
    EXPECT_EQ(copyTree("from", "to"), Outcome(false, eOK)) << "a directory ends the whole";
    EXPECT_TRUE(fs::is_empty("to/a"));
    fs::create_directories("from/a/copy");
    for (const auto& [from, to, outcome] :
         Rows<std::string, std::string, Outcome>{{"from", at("from/a/copy"), {false, eInvalidPath}},
                                                 {"none", "to", {true, eNotFound}},
                                                 {"", "to", {false, eParameterError}},
                                                 {"from", "", {false, eParameterError}}}) {
        EXPECT_EQ(copyTree(from, to), outcome) << from << " to " << to;
    }
    EXPECT_TRUE(skipOnExport("a.log", {"*.txt", "a*"}));
    EXPECT_FALSE(skipOnExport("a.log", {}));
}

/// What a file has between its holes, by offset.
std::map<off_t, std::string> dataIn(const char* name) {
    std::map<off_t, std::string> found;
    const basekit2::descriptor_t file(::open(name, O_RDONLY | O_CLOEXEC));
    for (off_t end = 0, begin = 0; (begin = ::lseek(file.get(), end, SEEK_DATA)) >= 0;) {
        end = ::lseek(file.get(), begin, SEEK_HOLE);
        std::string& data = found[begin];
        data.resize(static_cast<std::size_t>(end - begin));
        EXPECT_EQ(::pread(file.get(), data.data(), data.size(), begin), end - begin);
    }
    return found;
}

TEST_F(CopyTest, LargeAndManyFilesComeOverWhole) {
    constexpr off_t gigabyte = 1 << 30;
    const ResultHandle result = openResult(makeResult("r000"));
    for (int i = 0; i < 10'000; ++i) {
        writeFile("r000/data.0/" + std::to_string(i), std::to_string(i));
    }
    // Data at the beginning, in the middle and far from the end.
    writeFile("r000/sparse", std::string(5000, 'a'));
    const int file = ::open("r000/sparse", O_WRONLY | O_CLOEXEC);
    const std::string middle(1'000'000, 'm');
    ASSERT_EQ(::pwrite(file, middle.data(), middle.size(), gigabyte / 2 + 1),
              static_cast<ssize_t>(middle.size()));
    ASSERT_EQ(::ftruncate(file, gigabyte), 0);
    ::close(file);
    writeFile("r000/empty", "");
    writeFile("r000/hole", "");
    fs::resize_file("r000/hole", 3'000'000);

    Progress progress;
    ASSERT_TRUE(result->copy("copy", false, &progress));
    EXPECT_EQ(progress.done, progress.total);
    EXPECT_EQ(progress.steps.size(), 10'004U);
    EXPECT_EQ(progress.steps[at("r000/empty")], std::vector<double>{0});
    EXPECT_EQ(progress.steps[at("r000/hole")], std::vector<double>{3'000'000});
    EXPECT_GT(progress.steps[at("r000/sparse")].size(), 1U);
    EXPECT_EQ(progress.starts, 1);
    EXPECT_EQ(progress.finishes, 1);
    ASSERT_EQ(dataIn("r000/sparse").size(), 2U) << "this file system has no holes";
    EXPECT_TRUE(dataIn("r000/sparse") == dataIn("copy/sparse"));
    EXPECT_TRUE(dataIn("copy/hole").empty());
    EXPECT_EQ(fs::file_size("copy/sparse"), static_cast<std::uintmax_t>(gigabyte));
    fs::remove("r000/sparse");
    fs::remove("copy/sparse");
    expectSame("r000", "copy");
}

TEST_F(CopyTest, ADeepTreeNeedsNeitherStackNorDescriptorsNorPaths) {
    constexpr int levels = 5000;
    constexpr int sidewaysEach = 20;
    constexpr int sideways = levels / sidewaysEach;
    fs::create_directories("from");
    basekit2::descriptor_t level(::open("from", O_RDONLY | O_CLOEXEC));
    for (int i = 0; i < levels; ++i) {
        ASSERT_EQ(::mkdirat(level.get(), "way-down", 0755), 0);
        // What is beside the way down is found again on the way up.
        for (const char* name : {"a", "z"}) {
            if (i % sidewaysEach == 0) {
                ASSERT_EQ(::mkdirat(level.get(), name, 0755), 0);
                const std::string path = std::string(name) + "/file";
                const basekit2::descriptor_t file(
                    ::openat(level.get(), path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
                ASSERT_EQ(::write(file.get(), "12", 2), 2);
            }
        }
        level = basekit2::descriptor_t(::openat(level.get(), "way-down", O_RDONLY | O_CLOEXEC));
    }
    const int code = checkInChild([] {
        constexpr rlimit few{64, 64};
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
        onStack(256 * 1024, [] {
            fs::create_directory("to");
            EXPECT_EQ(copyTree("from", "to"), Outcome(true, eOK));
            for (const char* name : {"from", "to"}) {
                EXPECT_EQ(calcDirectoryFilesCount(name), std::uint64_t{2 * sideways});
                EXPECT_EQ(calcDirectoryFilesSize(name), std::uint64_t{4 * sideways});
                EXPECT_EQ(removeTree(name), std::uintmax_t{1 + levels + 4 * sideways});
            }
        });
    });
    EXPECT_EQ(code, 0) << "see the failures of the child above";
}

TEST_F(CopyTest, ADirectoryThatIsMovedLeadsNobodyOutOfItsTree) {
    // Deeper than what is kept open, so that the way back up is looked for.
    std::string deep = "tree";
    for (int i = 0; i < 30; ++i) {
        deep += "/d";
    }
    writeFile(deep + "/file", "");
    writeFile("outside/d/kept", "kept");
    Progress mover;
    mover.atItem = [] { fs::rename("tree/d/d/d/d", "outside/d/moved"); };
    fs::create_directory("to");
    const auto [isDone, status] = copyTree("tree", "to", {}, &mover);
    EXPECT_TRUE(isDone && status != eOK) << "the way back up is lost";
    EXPECT_FALSE(fs::exists("to/kept"));
}

TEST_F(CopyTest, WhatThisProcessHasLockedIsNotOpened) {
    makeResult("r000");
    const ResultHandle result = openResult("r000");
    ASSERT_TRUE(result->setFlag("mine"));
    writeFile("r000/old.dflgzentor", "of an owner that has ended");
    ASSERT_TRUE(result->exportTo("export", nullptr));
    EXPECT_EQ(entries("export"), "export.zentor mine.infozentor old.dflgzentor");
    EXPECT_EQ(checkInChild([this] {
                  util::FlagManager other;
                  EXPECT_EQ(other.writeFlag(at("r000/mine").c_str(), true, nullptr), eFileLocked);
              }),
              0)
        << "another process gets the flag";
}

TEST_F(CopyTest, RemovalCountsWhatItDeletesAndLeavesWhatLinksLeadTo) {
    writeFile("outside/kept", "kept");
    writeFile("tree/a/b/file", "");
    writeFile("tree/file", "");
    fs::create_symlink(at("outside"), "tree/a/to-directory");
    fs::create_symlink(at("outside/kept"), "tree/to-file");
    fs::create_symlink(at("nowhere"), "tree/dangling");
    ASSERT_EQ(::mkfifo("tree/fifo", 0600), 0);
    fs::create_symlink(at("outside"), "link");
    EXPECT_EQ(calcDirectoryFilesCount("tree"), 2U);
    for (const auto& [name, count] : Rows<Text, unsigned>{{"tree", 9}, {"tree", 0}, {"link", 1}}) {
        EXPECT_EQ(removeTree(name), count) << name;
    }
    EXPECT_EQ(entries("."), "outside outside/kept");
}

TEST_F(CopyTest, RemovalIsNotLedOutsideByADirectoryThatTurnsIntoALink) {
    constexpr int rounds = 100;
    constexpr int directories = 12;
    std::vector<std::string> places;
    for (int i = 0; i < directories; ++i) {
        places.push_back("tree/" + std::to_string(i));
        writeFile("outside/" + std::to_string(i), "kept");
    }
    const std::string before = entries("outside");
    std::atomic<bool> done{false};
    std::thread swapper([&] {
        // A step that comes too late for its round fails, and the next ones undo what came of it.
        while (!done) {
            boost::system::error_code ignored;
            fs::create_symlink(at("outside"), "link", ignored);
            for (const std::string& place : places) {
                if (std::rename(place.c_str(), "aside") == 0) {
                    std::rename("link", place.c_str());
                    std::rename(place.c_str(), "link");
                    std::rename("aside", place.c_str());
                }
            }
            fs::remove_all("aside", ignored);
        }
    });
    for (int round = 0; round < rounds && !HasFailure(); ++round) {
        for (const std::string& place : places) {
            boost::system::error_code ignored;
            fs::create_directories(place, ignored);
        }
        try {
            removeTree("tree");
        } catch (const fs::filesystem_error&) {
            // Somebody puts back what was deleted: to give up is fine.
        }
        EXPECT_EQ(entries("outside"), before) << "round " << round;
    }
    done = true;
    swapper.join();
}

}  // namespace
