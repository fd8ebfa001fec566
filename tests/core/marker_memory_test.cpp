#include "vesta/discovery/directory_memory.h"

#include <unistd.h>

#include <cstdlib>

#include "support/test.h"
#include "vesta/discovery/group_markers.h"

namespace {

using vesta2::findGroupMarkerInDir;

/// Asks after each of many changes that follow at once.
void expectEveryChangeSeen(const std::string& path) {
    const std::string first = path + "/first.zentorproj";
    const std::string second = path + "/second.zentorproj";
    fs::create_directory(path);
    for (int round = 0; round < 300; ++round) {
        ASSERT_EQ(findGroupMarkerInDir(path), "") << round;
        support::writeFile(first, "");
        ASSERT_EQ(findGroupMarkerInDir(path), first) << round;
        fs::rename(first, second);
        ASSERT_EQ(findGroupMarkerInDir(path), second) << round;
        ASSERT_EQ(findGroupMarkerInDir(path), second) << round;
        // No look at the file first: in memory the time stamp then stays what it was.
        ::unlink(second.c_str());
        ASSERT_EQ(findGroupMarkerInDir(path), "") << round;
        if (round % 10 == 0) {
            fs::remove(path);
            ASSERT_FALSE(findGroupMarkerInDir(path));
            fs::create_directory(path);
        }
    }
}

TEST(DirectoryMemory, NeverMissesAChange) {
    const support::TempDirectory directory;
    std::jthread other([&] { expectEveryChangeSeen(directory / "other"); });
    expectEveryChangeSeen(directory / "project");
    other.join();
    // Here a removal can share the time stamp of the change before it, whatever the kernel does
    // elsewhere.
    std::string coarse = "/dev/shm/vesta2-test-XXXXXX";
    if (!::mkdtemp(coarse.data())) {
        GTEST_SKIP() << "no file system in memory";
    }
    expectEveryChangeSeen(coarse + "/project");
    fs::remove_all(coarse);
}

TEST(DirectoryMemory, DistrustsWholeSeconds) {
    constexpr long long tick = 20'000'000;
    constexpr long long second = 1'000'000'000;
    for (const auto& [stamp, age, isOver] : {std::tuple{7 * second + 1, tick, false},
                                             {7 * second + 1, tick + 1, true},
                                             {7 * second, 2 * second, false},
                                             {7 * second, 2 * second + 1, true}}) {
        EXPECT_EQ(vesta2::DirectoryLook::isOver(stamp, stamp + age, tick), isOver)
            << stamp << " " << age;
    }
    const support::TempDirectory directory;
    const auto run = [](const std::string& command) {
        return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
    };
    const std::string image = directory / "image";
    const std::string path = directory / "mounted";
    support::writeFile(image, "");
    fs::resize_file(image, 1 << 20);
    fs::create_directory(path);
    // Small inodes have no room for fractions.
    if (::geteuid() != 0 || !run("mkfs.ext2 -q -I 128 '" + image + "'") ||
        !run("mount -o loop '" + image + "' '" + path + "'")) {
        GTEST_SKIP() << "cannot mount a file system of whole seconds";
    }
    expectEveryChangeSeen(path + "/project");
    EXPECT_TRUE(run("umount '" + path + "'"));
}

TEST(DirectoryMemory, SeesWhereALinkLeadsNow) {
    const support::TempDirectory directory;
    const std::string path = directory / "project";
    fs::create_directory(path);
    fs::create_symlink("../target", path + "/a.zentorproj");
    fs::create_directory(path + "/b.zentorproj");
    // Enough rounds for the directory to grow old meanwhile.
    for (int round = 0; round < 1000; ++round) {
        ASSERT_EQ(findGroupMarkerInDir(path), "") << round;
        support::writeFile(directory / "target", "");
        ASSERT_EQ(findGroupMarkerInDir(path), path + "/a.zentorproj") << round;
        fs::remove(directory / "target");
    }
}

TEST(DirectoryMemory, ListsAnOldDirectoryOnce) {
    const support::TempDirectory directory;
    const std::string path = directory / "project";
    const std::string marker = path + "/first.zentorproj";
    support::writeFile(marker, "");
    fs::create_directory(directory / "new");
    // Older than the ticks of the clock that time stamps follow.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(findGroupMarkerInDir(path), marker);
    const support::NoDescriptors none;
    EXPECT_EQ(findGroupMarkerInDir(path), marker);
#ifndef __SANITIZE_ADDRESS__  // which needs descriptors itself to look at what is thrown
    EXPECT_THROW(findGroupMarkerInDir(directory / "new"), fs::filesystem_error);
#endif
}

}  // namespace
