// Trees that are copied.

#include <pthread.h>
#include <sys/resource.h>

#include <array>

#include "copy_test.h"
#include "vesta/tree/remove_tree.h"

namespace {

TEST_F(CopyTest, TreeIsCopiedWithoutLinksAndWhatIsExcluded) {
    writeFile(at("from/a.csv"), "a");
    writeFile(at("from/private/b"), std::string(70'000, 'b'));
    writeFile(at("from/skipped/c"), "");
    writeFile(at("from/x.zentor"), "");
    writeFile(at("from/zentor"), "");
    writeFile(at("from/line\nbreak \xff"), "bytes");
    writeFile(at("from/.bagtmp-host-1-2"), "of a save that was killed");
    writeFile(at("from/private/.bagtmp-host-1-2"), "");
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
    for (const char* name : {"link", "private/loop", "fifo", "skipped", "x.zentor",
                             ".bagtmp-host-1-2", "private/.bagtmp-host-1-2"}) {
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
    for (const auto& [from, to] :
         Rows<std::string, std::string>{{"", at("to")}, {at("from"), ""}}) {
        EXPECT_FALSE(copyDirectoryWithExlusionPattern(from, to, {}, nullptr));
        EXPECT_EQ(getStatus(), eParameterError);
    }
    EXPECT_TRUE(skipOnExport("a.log", {"*.txt", "a*"}));
    EXPECT_FALSE(skipOnExport("a.log", {}));
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
    writeFile(at("r000/empty"), "");
    writeFile(at("r000/hole"), "");
    fs::resize_file(at("r000/hole"), 3'000'000);
    const std::int64_t stored = storedBytes("r000/sparse");
    ASSERT_LT(stored, 3'000'000) << "this file system has no holes";

    Progress progress;
    ASSERT_TRUE(result->copy(at("copy").c_str(), false, &progress));
    EXPECT_EQ(progress.done, progress.total);
    EXPECT_EQ(progress.steps.size(), 10'004U);
    EXPECT_EQ(progress.steps[at("r000/empty")], std::vector<double>{0});
    EXPECT_EQ(progress.steps[at("r000/hole")], std::vector<double>{3'000'000});
    EXPECT_GT(progress.steps[at("r000/sparse")].size(), 1U);
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

/// Runs `check` with few descriptors and a small stack.
void poorly(const std::function<void()>& check) {
    constexpr std::size_t stackSize = 256 * 1024;
    constexpr rlimit few{64, 64};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    pthread_attr_t attributes;
    pthread_t thread{};
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setstacksize(&attributes, stackSize);
    const auto run = [](void* function) -> void* {
        (*static_cast<const std::function<void()>*>(function))();
        return nullptr;
    };
    ASSERT_EQ(::pthread_create(&thread, &attributes, run,
                               const_cast<void*>(static_cast<const void*>(&check))),
              0);
    ::pthread_join(thread, nullptr);
}

TEST_F(CopyTest, ADeepTreeNeedsNeitherStackNorDescriptorsNorPaths) {
    constexpr int levels = 5000;
    constexpr int sidewaysEach = 20;
    constexpr int sideways = levels / sidewaysEach;
    fs::create_directories(at("from"));
    basekit2::descriptor_t level(::open(at("from").c_str(), O_RDONLY | O_CLOEXEC));
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
    const int code = inChild([this] {
        poorly([this] {
            fs::create_directory(at("to"));
            EXPECT_TRUE(copyTree(at("from"), at("to")));
            EXPECT_EQ(getStatus(), eOK);
            for (const char* name : {"from", "to"}) {
                EXPECT_EQ(calcDirectoryFilesCount(at(name)), std::uint64_t{2 * sideways});
                EXPECT_EQ(calcDirectoryFilesSize(at(name)), std::uint64_t{4 * sideways});
                EXPECT_EQ(removeTree(at(name)), std::uintmax_t{1 + levels + 4 * sideways});
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
    writeFile(at(deep + "/file"), "");
    writeFile(at("outside/d/kept"), "kept");
    Progress mover;
    mover.atItem = [&] { fs::rename(at("tree/d/d/d/d"), at("outside/d/moved")); };
    fs::create_directory(at("to"));
    setStatus(eOK);
    EXPECT_TRUE(copyDirectoryWithExlusionPattern(at("tree"), at("to"), {}, &mover));
    EXPECT_NE(getStatus(), eOK) << "the way back up is lost";
    EXPECT_FALSE(fs::exists(at("to/kept")));
}

TEST_F(CopyTest, WhatThisProcessHasLockedIsNotOpened) {
    makeResult(at("r000"));
    const ResultHandle result = openResult(at("r000"));
    ASSERT_TRUE(result->setFlag("mine"));
    writeFile(at("r000/old" + std::string(lockExtension)), "of an owner that has ended");
    ASSERT_TRUE(result->exportTo(at("export").c_str(), nullptr));
    EXPECT_TRUE(fs::exists(at("export/old" + std::string(lockExtension))));
    EXPECT_FALSE(fs::exists(at("export/mine" + std::string(lockExtension))));
    const int code = inChild([this] {
        util::FlagManager other;
        EXPECT_EQ(other.writeFlag(at("r000/mine").c_str(), true, nullptr), eFileLocked);
    });
    EXPECT_EQ(code, 0) << "another process gets the flag";
}

}  // namespace
