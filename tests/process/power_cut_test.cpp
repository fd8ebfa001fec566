// What was acknowledged is there after a power cut. The file system is shut down without its
// journal as soon as an operation returns, and mounted again.

#include <fcntl.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>

#include <cstdlib>

#include "basekit2/descriptor.h"
#include "model/model_test.h"

namespace {

// The same for the two file systems: nothing that was not flushed gets to the disk.
constexpr unsigned long shutDownRequest = _IOR('X', 125, std::uint32_t);
constexpr std::uint32_t withoutLogFlush = 2;

/// On each type of file system.
class PowerCutTest : public ModelTest, public testing::WithParamInterface<std::string> {
protected:
    void SetUp() override {
        writeFile("image", "");
        fs::resize_file("image", std::uintmax_t{320} << 20U);
        fs::create_directory("mounted");
        const std::string make = "mkfs." + GetParam() + " -q image 2>&1";
        // The mount is this process's own and ends with it.
        if (::unshare(CLONE_NEWNS) != 0 ||
            ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            std::system(make.c_str()) != 0 || !mountAgain()) {
            GTEST_SKIP() << "no " << GetParam() << " of its own is to be had here";
        }
    }
    void TearDown() override { ::umount2("mounted", MNT_DETACH); }

    static bool mountAgain() { return std::system("mount -o loop image mounted 2>&1") == 0; }

    static std::string content(int number) {
        return std::string(5000, static_cast<char>('a' + number % 26));
    }

    /// Does it in a process of its own, which cuts the power as soon as it is done.
    void doAndCut(const std::function<void()>& operation) {
        checkInChild([&] {
            const basekit2::descriptor_t top(::open("mounted", O_RDONLY | O_CLOEXEC));
            operation();
            EXPECT_EQ(getStatus(), eOK);
            EXPECT_EQ(::ioctl(top.get(), shutDownRequest, &withoutLogFlush), 0);
        });
        ASSERT_EQ(::umount("mounted"), 0);
        ASSERT_TRUE(mountAgain());
    }

    static void expectWhole(const std::string& name, int number) {
        EXPECT_TRUE(openResult(name)) << name;
        EXPECT_EQ(readFile(name + "/data.0/samples"), content(number)) << name;
    }
};

TEST_P(PowerCutTest, NothingThatWasAcknowledgedIsLost) {
    constexpr int rounds = 50;
    for (int i = 0; i < rounds; ++i) {
        const std::string name = "mounted/r" + std::to_string(i);
        ASSERT_FALSE(makeResult(name).empty());
        writeFile(name + "/data.0/samples", content(i));
    }
    ::sync();
    for (int i = 0; i < rounds && !HasFatalFailure(); ++i) {
        const std::string name = "mounted/r" + std::to_string(i);
        const std::string moved = "mounted/moved" + std::to_string(i);
        doAndCut([&] { EXPECT_TRUE(openResult(name)->move(moved.c_str(), true, nullptr)); });
        expectWhole(moved, i);
        EXPECT_FALSE(fs::exists(name));
        doAndCut([&] {
            const ResultHandle result = openResult(moved);
            result->setCollectorCommand(name.c_str());
            result->save();
        });
        EXPECT_STREQ(openResult(moved)->getCollectorCommand(), name.c_str());
        doAndCut([&] { openResult(moved)->setFinalized(true); });
        EXPECT_TRUE(openResult(moved)->isFinalized());
        doAndCut([&] { openResult(moved)->setInvalid(); });
        expectWhole(moved + "-bad", i);
        EXPECT_FALSE(openResult(moved + "-bad")->isValid());
        EXPECT_FALSE(fs::exists(moved));
    }
}

INSTANTIATE_TEST_SUITE_P(On, PowerCutTest, testing::Values("ext4", "xfs"),
                         [](const auto& each) { return each.param; });

}  // namespace
