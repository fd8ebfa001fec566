#include "vesta/discovery/group_markers.h"

#include <unistd.h>

#include <cstdlib>

#include "support/test.h"

namespace {

using vesta2::FileSet;
using vesta2::MarkerMemory;

/// Asks after each of many changes that follow at once.
void expectEveryChangeSeen(const std::string& path, MarkerMemory& memory) {
    const std::string first = path + "/first.zentorproj";
    const std::string second = path + "/second.zentorproj";
    fs::create_directory(path);
    for (int round = 0; round < 300; ++round) {
        ASSERT_EQ(memory.find(path), "") << round;
        support::writeFile(first, "");
        ASSERT_EQ(memory.find(path), first) << round;
        fs::rename(first, second);
        ASSERT_EQ(memory.find(path), second) << round;
        ASSERT_EQ(memory.find(path), second) << round;
        // No look at the file first: in memory the time stamp then stays what it was.
        ::unlink(second.c_str());
        ASSERT_EQ(memory.find(path), "") << round;
        if (round % 10 == 0) {
            fs::remove(path);
            ASSERT_THROW(memory.find(path), fs::filesystem_error);
            fs::create_directory(path);
        }
    }
}

TEST(MarkerMemory, NeverMissesAChange) {
    const support::TempDirectory directory;
    MarkerMemory memory(FileSet(".zentorproj"));
    std::jthread other([&] { expectEveryChangeSeen(directory / "other", memory); });
    expectEveryChangeSeen(directory / "project", memory);
    other.join();
    // In memory a removal can share the time stamp of the change before it, whatever the kernel
    // does elsewhere.
    std::string coarse = "/dev/shm/vesta2-test-XXXXXX";
    if (::mkdtemp(coarse.data())) {
        expectEveryChangeSeen(coarse + "/project", memory);
        fs::remove_all(coarse);
    }
    // Small inodes have no room for fractions of a second.
    const std::string go = "cd '" + directory.path().native() + "' && ";
    fs::create_directory(directory / "mounted");
    if (::geteuid() != 0 || std::system((go + "mkfs.ext2 -q -I 128 image 1m >log 2>&1 && "
                                              "mount -o loop image mounted 2>log")
                                            .c_str()) != 0) {
        GTEST_SKIP() << "cannot mount a file system of whole seconds";
    }
    expectEveryChangeSeen(directory / "mounted/project", memory);
    EXPECT_EQ(std::system((go + "umount mounted").c_str()), 0);
}

TEST(MarkerMemory, SeesWhereALinkLeadsNow) {
    const support::TempDirectory directory;
    const std::string path = directory / "project";
    fs::create_directory(path);
    fs::create_symlink("../target", path + "/a.zentorproj");
    fs::create_directory(path + "/b.zentorproj");
    MarkerMemory memory(FileSet(".zentorproj"));
    // Enough rounds for the directory to grow old meanwhile.
    for (int round = 0; round < 1000; ++round) {
        ASSERT_EQ(memory.find(path), "") << round;
        support::writeFile(directory / "target", "");
        ASSERT_EQ(memory.find(path), path + "/a.zentorproj") << round;
        fs::remove(directory / "target");
    }
}

TEST(MarkerMemory, ListsAnOldDirectoryOnce) {
    // Old enough on any file system, and it holds headers wherever this was compiled.
    const std::string path = "/usr/include";
    MarkerMemory memory(FileSet(".h"));
    const std::string found = memory.find(path);
    EXPECT_NE(found, "");
    const support::NoDescriptors none;
    EXPECT_EQ(memory.find(path), found);
#ifndef __SANITIZE_ADDRESS__  // which needs descriptors itself to look at what is thrown
    EXPECT_THROW(MarkerMemory(FileSet(".h")).find(path), fs::filesystem_error);
#endif
}

}  // namespace
