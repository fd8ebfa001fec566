#include "vesta/discovery/directory_memory.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>

#include "support/test.h"

namespace {

using vesta2::DirectoryLook;
using vesta2::findGroupMarkerInDir;

class DirectoryMemory : public testing::Test {
protected:
    /// Runs the command in the directory.
    bool succeeds(const std::string& command) const {
        return std::system(("cd '" + m_directory.path().native() + "' && " + command).c_str()) == 0;
    }
    const support::TempDirectory m_directory;
};

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

TEST_F(DirectoryMemory, NeverMissesAChange) {
    // Where it is not on a local disk, what shares a stamp is seen late.
    if (support::givesEachChangeAStamp(m_directory.path().native())) {
        std::jthread other([&] { expectEveryChangeSeen(m_directory / "other"); });
        expectEveryChangeSeen(m_directory / "project");
    }
    // In memory a removal can share the time stamp of the change before it, whatever the kernel
    // does elsewhere.
    std::string coarse = "/dev/shm/vesta2-test-XXXXXX";
    if (::mkdtemp(coarse.data())) {
        expectEveryChangeSeen(coarse + "/project");
        fs::remove_all(coarse);
    }
    // Small inodes have no room for fractions of a second.
    if (::geteuid() != 0 || !succeeds("mkdir mounted && mkfs.ext2 -q -I 128 image 1m >log 2>&1 && "
                                      "mount -o loop image mounted 2>log")) {
        GTEST_SKIP() << "cannot mount a file system of whole seconds";
    }
    expectEveryChangeSeen(m_directory / "mounted/project");
    EXPECT_TRUE(succeeds("umount mounted"));
}

TEST_F(DirectoryMemory, SeesWhereALinkLeadsNow) {
    const std::string path = m_directory / "project";
    fs::create_directory(path);
    fs::create_symlink("../target", path + "/a.zentorproj");
    fs::create_directory(path + "/b.zentorproj");
    // Enough rounds for the directory to grow old meanwhile.
    for (int round = 0; round < 1000; ++round) {
        ASSERT_EQ(findGroupMarkerInDir(path), "") << round;
        support::writeFile(m_directory / "target", "");
        ASSERT_EQ(findGroupMarkerInDir(path), path + "/a.zentorproj") << round;
        fs::remove(m_directory / "target");
    }
}

TEST_F(DirectoryMemory, ListsAnOldDirectoryOnce) {
    const std::string marker = m_directory / "project/first.zentorproj";
    support::writeFile(marker, "");
    fs::create_directory(m_directory / "never-listed");
    // Older than the ticks of the clock that time stamps follow.
    ::usleep(50'000);
    EXPECT_EQ(findGroupMarkerInDir(m_directory / "project"), marker);
    const support::NoDescriptors none;
    EXPECT_EQ(findGroupMarkerInDir(m_directory / "project"), marker);
#ifndef __SANITIZE_ADDRESS__  // which needs descriptors itself to look at what is thrown
    EXPECT_THROW(findGroupMarkerInDir(m_directory / "never-listed"), fs::filesystem_error);
#endif
}

const auto nothing = [] {};

/// As if that took so many microseconds.
void list(DirectoryLook& look, int cost) {
    look.beginListing();
    ::usleep(static_cast<unsigned>(cost));
    look.listed({"", {}}, true);
}

/// Lists the directory, as if that took so many microseconds, makes `name` in it and tells the look
/// so. Returns the seconds that the listing took in truth.
double makeOwn(const std::string& path, int cost, const std::string& name = "own",
               const std::function<void()>& meanwhile = nothing) {
    const auto begin = std::chrono::steady_clock::now();
    DirectoryLook look(path);
    list(look, cost);
    const std::chrono::duration<double> listing = std::chrono::steady_clock::now() - begin;
    meanwhile();
    fs::create_directory(path + "/" + name);
    look.keepThroughOwnChange(1, {{"r@", 7}});
    return listing.count();
}

void expectKept(const fs::path& directory) {
    const std::string path = (directory / "group").native();
    fs::create_directories(path);
    if (!support::givesEachChangeAStamp(path)) {
        GTEST_SKIP() << "changes that follow at once share a time stamp here: none is believed";
    }
    double listing = 0;
    // Until it has seen that.
    for (int i = 0; i < 100; ++i) {
        makeOwn(path, 1000, std::to_string(i));
    }
    using Act = std::function<void()>;
    for (const auto& [name, meanwhile, afterwards, isKnown] : Rows<Text, Act, Act, bool>{
             {"alone", nothing, nothing, true},
             {"a directory before", [&] { fs::create_directory(path + "/x"); }, nothing, false},
             {"a directory exchanged before", [&] { fs::remove(path + "/old"); }, nothing, false},
             {"a file afterwards", nothing, [&] { writeFile(path + "/x", ""); }, false},
             {"a directory afterwards", nothing, [&] { fs::remove(path + "/old"); }, false},
             {"long afterwards", nothing,
              [&] { std::this_thread::sleep_for(std::chrono::duration<double>(21 * listing)); },
              false},
             {"another directory",
              [&] {
                  fs::rename(path, directory / "moved");
                  fs::create_directories(path + "/old");
              },
              nothing, false}}) {
        fs::remove_all(directory / "moved");
        fs::remove_all(path);
        fs::create_directories(path + "/old");
        listing = makeOwn(path, 20'000, "own", meanwhile);
        afterwards();
        const DirectoryLook look(path);
        ASSERT_EQ(look.contents() != nullptr, isKnown) << name;
        if (isKnown) {
            EXPECT_EQ(look.contents()->greatest.at("r@"), 7);
        }
    }
    // A removal counts down.
    DirectoryLook look(path);
    list(look, 20'000);
    fs::remove(path + "/own");
    look.keepThroughOwnChange(-1, {});
    EXPECT_TRUE(DirectoryLook(path).contents());
}

TEST_F(DirectoryMemory, KeepsWhatItKnewThroughItsOwnChangeAlone) {
    expectKept(m_directory.path());
    // Of an overlay, as of a network file system, this host does not know who changes it.
    if (::geteuid() != 0 || !succeeds("mkdir a b c d && mount -t overlay none -o "
                                      "lowerdir=a,upperdir=b,workdir=c d 2>log")) {
        GTEST_SKIP() << "cannot mount a file system that others may change";
    }
    const fs::path mounted = m_directory.path() / "d";
    expectKept(mounted);
    // There a listing of a moment ago is believed as long, too.
    const std::string fresh = (mounted / "fresh").native();
    fs::create_directory(fresh);
    DirectoryLook look(fresh);
    list(look, 20'000);
    EXPECT_TRUE(DirectoryLook(fresh).contents());
    writeFile(fresh + "/x", "");
    EXPECT_FALSE(DirectoryLook(fresh).contents());
    EXPECT_TRUE(succeeds("umount d"));
}

}  // namespace
