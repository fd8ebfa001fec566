// What was acknowledged is there after a power cut. The file system is shut down without its
// journal as soon as an operation returns, and mounted again.

#include <fcntl.h>
#include <linux/loop.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>

#include <cstdlib>

#include "basekit2/descriptor.h"
#include "model/model_test.h"

namespace {

using basekit2::descriptor_t;

// The same for the two file systems: nothing that was not flushed gets to the disk.
constexpr unsigned long shutDownRequest = _IOR('X', 125, std::uint32_t);
constexpr std::uint32_t withoutLogFlush = 2;

struct FileSystem {
    const char* type;
    std::uintmax_t mebibytes;
    const char* make;
};
constexpr FileSystem fileSystems[] = {{"ext4", 32, "mkfs.ext4 -q -F image 2>&1"},
                                      {"xfs", 320, "mkfs.xfs -q -f image 2>&1"}};

/// A loop device on the image; the device lives as long as it is open.
descriptor_t attach(std::string& device) {
    const descriptor_t control(::open("/dev/loop-control", O_RDWR | O_CLOEXEC));
    const int number = control ? ::ioctl(control.get(), LOOP_CTL_GET_FREE) : -1;
    const descriptor_t file(::open("image", O_RDWR | O_CLOEXEC));
    device = "/dev/loop" + std::to_string(number);
    descriptor_t opened(number < 0 ? -1 : ::open(device.c_str(), O_RDWR | O_CLOEXEC));
    loop_config config{};
    config.fd = static_cast<std::uint32_t>(file.get());
    config.info.lo_flags = LO_FLAGS_AUTOCLEAR;
    const bool isAttached = opened && ::ioctl(opened.get(), LOOP_CONFIGURE, &config) == 0;
    return isAttached ? std::move(opened) : descriptor_t();
}

class PowerCutTest : public ModelTest, public testing::WithParamInterface<FileSystem> {
protected:
    void SetUp() override {
        writeFile("image", "");
        fs::resize_file("image", GetParam().mebibytes << 20);
        fs::create_directory("mounted");
        // The mount is this process's own and ends with it.
        const bool isAlone = ::unshare(CLONE_NEWNS) == 0 &&
                             ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
        if (!isAlone || std::system(GetParam().make) != 0 || !(m_device = attach(m_name)) ||
            !mountAgain()) {
            GTEST_SKIP() << "no " << GetParam().type << " of its own is to be had here";
        }
    }
    void TearDown() override { ::umount2("mounted", MNT_DETACH); }

    bool mountAgain() { return ::mount(m_name.c_str(), "mounted", GetParam().type, 0, "") == 0; }

    static std::string content(int number) {
        return std::string(5000, static_cast<char>('a' + number % 26));
    }

    /// Does it in a process of its own, which cuts the power as soon as it is done.
    void doAndCut(const std::function<void()>& operation) {
        const int code = checkInChild([&] {
            const descriptor_t top(::open("mounted", O_RDONLY | O_CLOEXEC));
            operation();
            EXPECT_EQ(getStatus(), eOK);
            EXPECT_EQ(::ioctl(top.get(), shutDownRequest, &withoutLogFlush), 0);
        });
        ASSERT_EQ(code, 0) << "was not acknowledged";
        ASSERT_EQ(::umount("mounted"), 0);
        ASSERT_TRUE(mountAgain());
    }

    static void expectWhole(const std::string& name, int number) {
        EXPECT_TRUE(openResult(name)) << name;
        EXPECT_EQ(readFile(name + "/data.0/samples"), content(number)) << name;
    }

    std::string m_name;
    descriptor_t m_device;
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

INSTANTIATE_TEST_SUITE_P(On, PowerCutTest, testing::ValuesIn(fileSystems),
                         [](const auto& each) { return std::string(each.param.type); });

}  // namespace
