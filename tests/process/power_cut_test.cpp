// What was acknowledged is there after a power cut. The file system is shut down without its
// journal as soon as an operation returns, and mounted again.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/loop.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <cstdlib>
#include <functional>

#include "basekit2/descriptor.h"
#include "support/temp_directory.h"
#include "vesta2/vesta2.h"

namespace {

namespace fs = boost::filesystem;
using basekit2::descriptor_t;
using support::readFile;
using support::writeFile;
using namespace vesta2;
using ResultHandle = basekit2::sptr_t<IResultDirectory>;

// The same for the two file systems: nothing that was not flushed gets to the disk.
constexpr unsigned long shutDownRequest = _IOR('X', 125, std::uint32_t);
constexpr std::uint32_t withoutLogFlush = 2;

struct FileSystem {
    const char* type;
    off_t imageSize;
    const char* make;
};
constexpr off_t mebibyte = 1 << 20;
constexpr FileSystem fileSystems[] = {
    {"ext4", 32 * mebibyte, "mkfs.ext4 -q -F"},
    {"xfs", 320 * mebibyte, "mkfs.xfs -q -f"},
};

/// A loop device on a file; the device lives as long as it is open.
descriptor_t attach(const std::string& image, std::string& device) {
    const descriptor_t control(::open("/dev/loop-control", O_RDWR | O_CLOEXEC));
    const int number = control ? ::ioctl(control.get(), LOOP_CTL_GET_FREE) : -1;
    const descriptor_t file(::open(image.c_str(), O_RDWR | O_CLOEXEC));
    device = "/dev/loop" + std::to_string(number);
    descriptor_t opened(number < 0 ? -1 : ::open(device.c_str(), O_RDWR | O_CLOEXEC));
    loop_config config{};
    config.fd = static_cast<std::uint32_t>(file.get());
    config.info.lo_flags = LO_FLAGS_AUTOCLEAR;
    const bool isAttached = opened && ::ioctl(opened.get(), LOOP_CONFIGURE, &config) == 0;
    return isAttached ? std::move(opened) : descriptor_t();
}

class PowerCutTest : public testing::TestWithParam<FileSystem> {
protected:
    void SetUp() override {
        const std::string image = m_temp / "image";
        writeFile(image, "");
        fs::resize_file(image, static_cast<std::uintmax_t>(GetParam().imageSize));
        fs::create_directory(m_place);
        // The mount is this process's own and ends with it.
        const bool isAlone = ::unshare(CLONE_NEWNS) == 0 &&
                             ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
        const std::string make = std::string(GetParam().make) + " " + image + " 2>&1";
        if (!isAlone || std::system(make.c_str()) != 0 || !(m_device = attach(image, m_name)) ||
            !mountAgain()) {
            GTEST_SKIP() << "no " << GetParam().type << " of its own is to be had here";
        }
    }
    void TearDown() override { ::umount2(m_place.c_str(), MNT_DETACH); }

    bool mountAgain() {
        return ::mount(m_name.c_str(), m_place.c_str(), GetParam().type, 0, "") == 0;
    }

    [[nodiscard]] std::string at(const std::string& name) const { return m_place + "/" + name; }

    /// Makes whole results that are on the disk.
    void makeResults(int count) const {
        for (int i = 0; i < count; ++i) {
            const std::string directory = at("r" + std::to_string(i));
            ASSERT_TRUE(
                ResultDirectoryManager::create(directory.c_str(), false, nullptr, true, nullptr));
            writeFile(directory + "/data.0/samples", content(i));
        }
        ::sync();
    }

    static std::string content(int number) {
        return std::string(5000, static_cast<char>('a' + number % 26));
    }

    /// Does it in a process of its own, which cuts the power as soon as it is done.
    void doAndCut(const std::function<bool()>& operation) {
        const pid_t child = ::fork();
        if (child == 0) {
            const descriptor_t top(::open(m_place.c_str(), O_RDONLY | O_CLOEXEC));
            const bool isDone = operation();
            const bool isCut = ::ioctl(top.get(), shutDownRequest, &withoutLogFlush) == 0;
            ::_exit(isDone && isCut ? 0 : 1);
        }
        int status = -1;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_EQ(status, 0) << "was not acknowledged";
        ASSERT_EQ(::umount(m_place.c_str()), 0);
        ASSERT_TRUE(mountAgain());
    }

    [[nodiscard]] ResultHandle open(const std::string& name) const {
        return ResultDirectoryManager::open(at(name).c_str(), true, nullptr);
    }

    void expectWhole(const std::string& name, int number) const {
        EXPECT_TRUE(open(name)) << name;
        EXPECT_EQ(readFile(at(name + "/data.0/samples")), content(number)) << name;
    }

    support::TempDirectory m_temp;
    std::string m_place = m_temp / "mounted";
    std::string m_name;
    descriptor_t m_device;
};

TEST_P(PowerCutTest, NothingThatWasAcknowledgedIsLost) {
    constexpr int rounds = 50;
    ASSERT_NO_FATAL_FAILURE(makeResults(rounds));
    for (int i = 0; i < rounds && !HasFatalFailure(); ++i) {
        const std::string name = "r" + std::to_string(i);
        const std::string moved = "moved" + std::to_string(i);
        doAndCut([&] { return open(name)->move(at(moved).c_str(), true, nullptr); });
        expectWhole(moved, i);
        EXPECT_FALSE(fs::exists(at(name)));
        doAndCut([&] {
            const ResultHandle result = open(moved);
            result->setCollectorCommand(name.c_str());
            result->save();
            return getStatus() == eOK;
        });
        EXPECT_STREQ(open(moved)->getCollectorCommand(), name.c_str());
        doAndCut([&] {
            open(moved)->setFinalized(true);
            return getStatus() == eOK;
        });
        EXPECT_TRUE(open(moved)->isFinalized());
        doAndCut([&] {
            open(moved)->setInvalid();
            return getStatus() == eOK;
        });
        expectWhole(moved + "-bad", i);
        EXPECT_FALSE(open(moved + "-bad")->isValid());
        EXPECT_FALSE(fs::exists(at(moved)));
    }
}

INSTANTIATE_TEST_SUITE_P(On, PowerCutTest, testing::ValuesIn(fileSystems),
                         [](const auto& each) { return std::string(each.param.type); });

}  // namespace
