// Saving and creating while one system call fails. The calls of this program are answered here,
// where a test wants to.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "basekit2/bag_io.h"
#include "support/temp_directory.h"

namespace {

namespace fs = boost::filesystem;
using basekit2::variant_bag_t;
using testing::ElementsAre;

/// The next call of this name, after some that go well, fails once.
struct Fault {
    std::string_view call;
    int error = 0;
    int after = 0;
};
Fault s_fault;
/// What another process does just before two files change places, the first time, the second...
std::vector<std::function<void()>> s_beforeSwaps;

bool fails(std::string_view call) {
    if (call != s_fault.call || s_fault.after-- > 0) {
        return false;
    }
    s_fault.call = {};
    errno = s_fault.error;
    return true;
}

}  // namespace

// NOLINTBEGIN: the linker gives these names.
extern "C" {
int __real_open(const char*, int, ...);
int __wrap_open(const char* path, int flags, int mode) {
    return fails("open") ? -1 : __real_open(path, flags, mode);
}
int __real_openat(int, const char*, int, ...);
int __wrap_openat(int directory, const char* path, int flags, int mode) {
    return fails("openat") ? -1 : __real_openat(directory, path, flags, mode);
}
ssize_t __real_read(int, void*, size_t);
ssize_t __wrap_read(int fd, void* bytes, size_t size) {
    return fails("read") ? -1 : __real_read(fd, bytes, size);
}
ssize_t __real_write(int, const void*, size_t);
ssize_t __wrap_write(int fd, const void* bytes, size_t size) {
    return fails("write") ? -1 : __real_write(fd, bytes, size);
}
int __real_fsync(int);
int __wrap_fsync(int fd) { return fails("fsync") ? -1 : __real_fsync(fd); }
int __real_fchmod(int, mode_t);
int __wrap_fchmod(int fd, mode_t mode) { return fails("fchmod") ? -1 : __real_fchmod(fd, mode); }
int __real_close(int);
int __wrap_close(int fd) {
    const bool failed = fails("close");
    const int error = errno;
    const int result = __real_close(fd);
    errno = error;
    return failed ? -1 : result;
}
int __real_renameat(int, const char*, int, const char*);
int __wrap_renameat(int from, const char* name, int to, const char* target) {
    return fails("renameat") ? -1 : __real_renameat(from, name, to, target);
}
int __real_renameat2(int, const char*, int, const char*, unsigned);
int __wrap_renameat2(int from, const char* name, int to, const char* target, unsigned flags) {
    if (flags == RENAME_EXCHANGE && !s_beforeSwaps.empty()) {
        const auto act = s_beforeSwaps.front();
        s_beforeSwaps.erase(s_beforeSwaps.begin());
        act();
    }
    return fails("renameat2") ? -1 : __real_renameat2(from, name, to, target, flags);
}
}
// NOLINTEND

namespace {

variant_bag_t bagOf(int value) {
    variant_bag_t bag;
    bag.put("value", value);
    return bag;
}

class BagFault : public testing::Test {
protected:
    /// Runs `act` under `fault`, which has to come to pass.
    template <class Act>
    int under(const Fault& fault, Act act) {
        s_fault = fault;
        const int result = act();
        EXPECT_EQ(std::exchange(s_fault, {}).call, "") << fault.call << " was not called";
        return result;
    }

    /// Nothing but the file, and what it holds.
    variant_bag_t onlyFile() {
        std::vector<std::string> names;
        for (const fs::directory_entry& entry : fs::directory_iterator(m_directory.path())) {
            names.push_back(entry.path().filename().native());
        }
        EXPECT_THAT(names, ElementsAre("a.bag"));
        variant_bag_t bag;
        EXPECT_EQ(basekit2::load_variant_bag(bag, m_file, "bag"), basekit2::bag_ok);
        return bag;
    }

    support::TempDirectory m_directory;
    std::string m_file = m_directory / "a.bag";
};

struct Case {
    Fault fault;
    int result;
    int value;  ///< what the file holds then; 0 when there is none
};

TEST_F(BagFault, SaveSucceedsOrLeavesTheOldFileAlone) {
    constexpr int ok = basekit2::bag_ok;
    constexpr int bad = basekit2::bag_unwritable;
    for (const Case& c : {Case{{"open", EINTR}, ok, 2}, Case{{"openat", EINTR}, ok, 2},
                          Case{{"write", EINTR}, ok, 2}, Case{{"fsync", EINTR}, ok, 2},
                          Case{{"fsync", EINTR, 1}, ok, 2}, Case{{"open", EMFILE}, bad, 1},
                          Case{{"openat", EIO}, bad, 1}, Case{{"write", ENOSPC}, bad, 1},
                          Case{{"fchmod", EIO}, bad, 1}, Case{{"fsync", EIO}, bad, 1},
                          Case{{"close", EIO}, bad, 1}, Case{{"renameat", EIO}, bad, 1},
                          // The new file stands, but the power may take it.
                          Case{{"fsync", EIO, 1}, bad, 2}, Case{{"fsync", EINVAL, 1}, ok, 2}}) {
        ASSERT_EQ(basekit2::save_variant_bag(bagOf(1), m_file), ok);
        const int result =
            under(c.fault, [this] { return basekit2::save_variant_bag(bagOf(2), m_file); });
        const std::string what = std::string(c.fault.call) + ' ' + std::to_string(c.fault.error);
        EXPECT_EQ(result, c.result) << what;
        EXPECT_EQ(onlyFile(), bagOf(c.value)) << what;
    }
}

TEST_F(BagFault, CreateMakesTheWholeFileOrNone) {
    const auto create = [this] { return basekit2::create_variant_bag(bagOf(2), m_file); };
    for (const int error : {EINVAL, ENOSYS}) {
        // On a file system without an exclusive rename.
        EXPECT_EQ(under({"renameat2", error}, create), basekit2::bag_ok);
        EXPECT_EQ(onlyFile(), bagOf(2));
        ASSERT_EQ(basekit2::save_variant_bag(bagOf(1), m_file), basekit2::bag_ok);
        EXPECT_EQ(under({"renameat2", error}, create), basekit2::bag_exists);
        EXPECT_EQ(onlyFile(), bagOf(1));
        fs::remove(m_file);
    }
    for (const Fault& fault :
         {Fault{"open", EMFILE}, Fault{"openat", EACCES}, Fault{"write", ENOSPC},
          Fault{"close", EIO}, Fault{"renameat2", EIO}}) {
        EXPECT_EQ(under(fault, create), basekit2::bag_unwritable) << fault.call;
        EXPECT_TRUE(fs::is_empty(m_directory.path())) << fault.call;
    }
}

TEST_F(BagFault, FillReplacesAnEmptyBagAndNothingElse) {
    const auto fill = [this] { return basekit2::fill_variant_bag(bagOf(9), m_file); };
    const auto save = [this](int value) {
        return [this, value] { basekit2::save_variant_bag(bagOf(value), m_file); };
    };
    EXPECT_EQ(fill(), basekit2::bag_absent);
    // What is saved before the swaps; 0 is an empty bag.
    for (const auto& [saved, result, kept] : std::vector<std::tuple<std::vector<int>, int, int>>{
             {{0}, basekit2::bag_ok, 9},
             {{1}, basekit2::bag_exists, 1},
             {{0, 1}, basekit2::bag_exists, 1},
             {{0, 1, 2}, basekit2::bag_exists, 2}}) {
        ASSERT_EQ(
            basekit2::save_variant_bag(saved[0] == 0 ? variant_bag_t() : bagOf(saved[0]), m_file),
            basekit2::bag_ok);
        for (std::size_t i = 1; i < saved.size(); ++i) {
            s_beforeSwaps.push_back(save(saved[i]));
        }
        EXPECT_EQ(fill(), result) << kept;
        EXPECT_TRUE(s_beforeSwaps.empty()) << kept;
        EXPECT_EQ(onlyFile(), bagOf(kept));
    }
    ASSERT_EQ(basekit2::save_variant_bag(variant_bag_t(), m_file), basekit2::bag_ok);
    for (const Fault& fault : {Fault{"openat", EACCES}, Fault{"write", ENOSPC},
                               Fault{"renameat2", EINVAL}, Fault{"read", EIO}}) {
        EXPECT_TRUE(basekit2::bag_failed(under(fault, fill))) << fault.call;
        EXPECT_EQ(onlyFile(), variant_bag_t()) << fault.call;
    }
}

TEST_F(BagFault, LoadTellsWhatIsNotThereFromWhatCannotBeRead) {
    ASSERT_EQ(basekit2::save_variant_bag(bagOf(1), m_file), basekit2::bag_ok);
    for (const Case& c :
         {Case{{"open", EINTR}, basekit2::bag_ok, 1}, Case{{"read", EINTR}, basekit2::bag_ok, 1},
          Case{{"open", ENOENT}, basekit2::bag_absent, 0},
          Case{{"open", EIO}, basekit2::bag_unreadable, 0},
          Case{{"read", EIO}, basekit2::bag_unreadable, 0}}) {
        variant_bag_t bag = bagOf(3);
        EXPECT_EQ(under(c.fault, [&] { return basekit2::load_variant_bag(bag, m_file, ""); }),
                  c.result)
            << c.fault.call;
        EXPECT_EQ(bag, c.value == 0 ? variant_bag_t() : bagOf(c.value)) << c.fault.call;
    }
}

}  // namespace
