// Every call that the locker makes is made to fail here, with every error that it tells apart.

#include "vesta2/file_locker.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <functional>
#include <utility>

#include "basekit2/bag_io.h"
#include "support/temp_directory.h"
#include "util/process_status.h"
#include "vesta/foundation/locked_files.h"
#include "vesta2/flag_look.h"
#include "vesta2/flag_manager.h"
#include "vesta2/process_ids.h"

namespace fs = boost::filesystem;
using namespace vesta2;
using util::FileLocker;

namespace {

enum class Call { none, open, lock, query, stat, ask, read, write };

/// What the next calls of one kind do instead of their work.
struct Fault {
    Call call = Call::none;
    int error = 0;   ///< 0 for a call that does nothing and returns 0
    int skip = 0;    ///< so many calls work before
    int times = -1;  ///< -1 for ever
};

Fault fault;
std::function<void()> beforeLock;
std::function<void()> afterOpen;

bool fails(Call call) {
    if (call != fault.call || fault.times == 0 || fault.skip-- > 0) {
        return false;
    }
    --fault.times;
    errno = fault.error;
    return true;
}

int failure() { return fault.error == 0 ? 0 : -1; }

}  // namespace

// The linker sends the library's calls here; see the build file.
extern "C" {
int __real_open(const char* path, int flags, mode_t mode);
int __real_fcntl(int descriptor, int command, void* argument);
int __real_fstat(int descriptor, struct stat* info);
ssize_t __real_pread(int descriptor, void* buffer, size_t size, off_t offset);
ssize_t __real_pwrite(int descriptor, const void* buffer, size_t size, off_t offset);

int __real_statx(int directory, const char* path, int flags, unsigned mask, struct statx* file);

int __wrap_open(const char* path, int flags, mode_t mode) {
    const int descriptor = fails(Call::open) ? failure() : __real_open(path, flags, mode);
    if (afterOpen) {
        std::exchange(afterOpen, nullptr)();
    }
    return descriptor;
}
int __wrap_fcntl(int descriptor, int command, void* argument) {
    const bool takes =
        command == F_SETLK && static_cast<const struct flock*>(argument)->l_type == F_WRLCK;
    if (takes && beforeLock) {
        std::exchange(beforeLock, nullptr)();
    }
    const bool fault = takes ? fails(Call::lock) : command == F_GETLK && fails(Call::query);
    return fault ? failure() : __real_fcntl(descriptor, command, argument);
}
int __wrap_statx(int directory, const char* path, int flags, unsigned mask, struct statx* file) {
    return fails(Call::ask) ? failure() : __real_statx(directory, path, flags, mask, file);
}
int __wrap_fstat(int descriptor, struct stat* info) {
    return fails(Call::stat) ? failure() : __real_fstat(descriptor, info);
}
ssize_t __wrap_pread(int descriptor, void* buffer, size_t size, off_t offset) {
    return fails(Call::read) ? failure() : __real_pread(descriptor, buffer, size, offset);
}
ssize_t __wrap_pwrite(int descriptor, const void* buffer, size_t size, off_t offset) {
    return fails(Call::write) ? failure() : __real_pwrite(descriptor, buffer, size, offset);
}
}

namespace {

class FileLockerTest : public testing::Test {
protected:
    void SetUp() override { fault = {}; }
    void TearDown() override { fault = {}; }

    /// Whether another process finds the file locked.
    static bool isLocked(const std::string& path) {
        const pid_t child = ::fork();
        if (child == 0) {
            ::_exit(FileLocker().lock(path.c_str()) ? 0 : 1);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        return status != 0;
    }
    static std::ptrdiff_t openDescriptors() {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    }
    /// The files of a flag, with a record of that process.
    void plantFlag(int pid, int ppid) const {
        support::writeFile(m_flag + ".dflgzentor", "");
        support::writeFile(m_flag + ".infozentor", "<bag v=\"1\"><uint32 n=\"pid\">" +
                                                       std::to_string(pid) +
                                                       "</uint32><uint32 n=\"ppid\">" +
                                                       std::to_string(ppid) + "</uint32></bag>");
    }

    support::TempDirectory m_temp;
    std::string m_path = m_temp / "file";
    std::string m_flag = m_temp / "flag";
};

TEST_F(FileLockerTest, TellsWhyAFileCannotBeLocked) {
    const struct {
        Call call;
        int error;
        bool locked;
        vesta2::error_t status;
    } cases[] = {
        {Call::none, 0, true, eOK},
        {Call::open, EACCES, false, eFileAccessDenied},
        {Call::open, EROFS, false, eFileAccessDenied},
        {Call::open, EMFILE, false, eTooManyOpenFiles},
        {Call::open, ENFILE, false, eFileError},
        {Call::open, ENOSPC, false, eFileError},
        {Call::open, ELOOP, false, eFileError},
        {Call::open, ENOENT, false, eFileError},
        {Call::open, EISDIR, false, eFileError},
        {Call::stat, EIO, false, eFileError},
        {Call::ask, EIO, false, eFileError},
        {Call::lock, EACCES, false, eFileLocked},
        {Call::lock, EAGAIN, false, eFileLocked},
        // A file system without record locks: the file counts as locked.
        {Call::lock, ENOLCK, true, eOK},
        {Call::lock, ENOSYS, true, eOK},
        {Call::lock, EINVAL, true, eOK},
        {Call::lock, EIO, true, eOK},
    };
    for (const auto& each : cases) {
        fault = {each.call, each.error};
        FileLocker locker;
        EXPECT_EQ(locker.lock(m_path.c_str()), each.locked) << each.error;
        EXPECT_EQ(locker.status(), each.status) << each.error;
        fault = {each.call, each.error};
        util::FlagManager flags;
        EXPECT_EQ(flags.writeFlag(m_flag.c_str(), false, nullptr), each.status) << each.error;
        fault = {};
    }
    for (const auto& [call, error] : std::vector<std::pair<Call, int>>{{Call::open, EINTR},
                                                                       {Call::lock, EINTR},
                                                                       {Call::open, ESTALE},
                                                                       {Call::open, EEXIST},
                                                                       {Call::stat, ESTALE},
                                                                       {Call::lock, ESTALE},
                                                                       {Call::lock, ENOENT},
                                                                       {Call::ask, ESTALE}}) {
        fault = {call, error, 0, 3};
        EXPECT_TRUE(FileLocker().lock(m_path.c_str())) << "no answer: " << error;
    }
    for (const auto& [call, guarded] : {std::pair(Call::none, true), {Call::lock, false}}) {
        fault = {call, ENOLCK};
        FileLocker locker;
        EXPECT_TRUE(locker.lock(m_path.c_str()));
        EXPECT_EQ(locker.isGuarded(), guarded);
    }
    struct stat info {};
    ASSERT_EQ(::stat(m_path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0644U);
}

TEST_F(FileLockerTest, TellsWhyARecordCannotBeReadOrWritten) {
    FileLocker locker;
    ASSERT_TRUE(locker.lock(m_path.c_str()));
    basekit2::variant_bag_t bag;
    EXPECT_EQ(locker.readData(bag), eNotFound) << "empty";
    bag.put("text", std::string(300, 'x'));
    ASSERT_EQ(locker.writeData(bag), eOK);
    bag.put("text", "short");
    ASSERT_EQ(locker.writeData(bag), eOK);
    basekit2::variant_bag_t read;
    EXPECT_EQ(locker.readData(read), eOK);
    EXPECT_EQ(read, bag) << "the tail of the longer one is behind the NUL";
    EXPECT_GT(support::readFile(m_path).size(), 300U);
    for (const int error : {0, EIO, ENOSPC, EBADF}) {
        fault = {Call::write, error};
        EXPECT_EQ(locker.writeData(bag), eFileError) << error;
        fault = {Call::read, error};
        EXPECT_EQ(locker.readData(read), eFileError) << error;
        EXPECT_EQ(locker.status(), eFileError);
    }
    fault = {Call::stat, EIO};
    EXPECT_EQ(locker.readData(read), eFileError);
}

TEST_F(FileLockerTest, ManagerPassesOnWhyAFlagCannotBeClaimedOrAsked) {
    ASSERT_EQ(util::FlagManager().writeFlag(m_flag.c_str(), false, nullptr), eOK);
    // The lock file is opened first, then the information file.
    const struct {
        Fault fault;
        vesta2::error_t claim;
        vesta2::error_t question;
    } cases[] = {
        {{Call::open, EMFILE, 1}, eTooManyOpenFiles, eTooManyOpenFiles},
        {{Call::open, EROFS, 1}, eFileAccessDenied, eNotOwner},
        {{Call::lock, EAGAIN, 1}, eFileLocked, eNotOwner},
        {{Call::read, EIO}, eFileError, eFileError},
        {{Call::write, ENOSPC}, eFileError, eOK},
    };
    for (const auto& each : cases) {
        fault = {};
        plantFlag(0, 1);
        fault = each.fault;
        util::FlagManager flags;
        EXPECT_EQ(flags.writeFlag(m_flag.c_str(), false, nullptr), each.claim);
        if (each.question != eOK) {
            fault = each.fault;
            EXPECT_EQ(flags.isFlagOwner(m_flag.c_str()), each.question);
        }
    }
}

TEST_F(FileLockerTest, AClaimThatCannotBeRecordedLeavesNothing) {
    for (const bool isStale : {false, true}) {
        for (const Fault& each : {Fault{Call::open, EMFILE, 1}, Fault{Call::write, ENOSPC}}) {
            isStale ? plantFlag(0, 1) : void();
            fault = each;
            EXPECT_NE(util::FlagManager().writeFlag(m_flag.c_str(), false, nullptr), eOK);
            fault = {};
            EXPECT_EQ(fs::is_empty(m_temp.path()), !isStale || each.call == Call::write);
            EXPECT_EQ(util::FlagManager().writeFlag(m_flag.c_str(), false, nullptr), eOK);
        }
    }
}

TEST_F(FileLockerTest, WhatCannotBeLookedAtIsHeld) {
    using util::flag_state_t;
    const struct {
        Fault fault;
        flag_state_t state;
    } cases[] = {
        {{}, flag_state_t::stale},
        // The lock file is opened first, then the information file, then the owner's status.
        {{Call::open, EACCES, 0, 1}, flag_state_t::held},
        {{Call::open, EMFILE, 0, 1}, flag_state_t::held},
        {{Call::open, EIO, 1, 1}, flag_state_t::held},
        {{Call::open, EMFILE, 2, 1}, flag_state_t::held},
        {{Call::open, ENOENT, 1, 1}, flag_state_t::free},
        {{Call::open, ENOENT, 2, 1}, flag_state_t::stale},
        {{Call::query, EIO}, flag_state_t::held},
        {{Call::query, ENOLCK}, flag_state_t::stale},
        {{Call::read, EIO}, flag_state_t::held},
    };
    const pid_t ended = ::fork();
    if (ended == 0) {
        ::_exit(0);
    }
    ASSERT_EQ(::waitpid(ended, nullptr, 0), ended);
    for (const int ppid : {util::getPid(), 0}) {
        plantFlag(ended, ppid);
        for (const auto& each : cases) {
            fault = each.fault;
            EXPECT_EQ(util::lookAtFlag(m_temp.path().native(), "flag").state(), each.state)
                << static_cast<int>(each.fault.call) << ' ' << each.fault.error;
        }
        // Nor is it taken or deleted.
        fault = {Call::open, EMFILE, 2, 1};
        EXPECT_EQ(util::FlagManager().writeFlag(m_flag.c_str(), false, nullptr), eFileLocked);
        fault = {Call::open, EACCES, 0, 1};
        EXPECT_EQ(util::FlagManager().isFlagOwner(m_flag.c_str()), eFileAccessDenied);
        fault = {Call::open, EACCES, 0, 2};
        EXPECT_EQ(util::FlagManager().isFlagOwner(m_flag.c_str()), eNotOwner);
        fault = {};
        EXPECT_EQ(util::FlagManager().writeFlag(m_flag.c_str(), false, nullptr), eOK);
    }
}

TEST_F(FileLockerTest, OneProcessLocksAFileOnceAndLosesNoLockByIt) {
    const support::TempDirectory other;
    fs::create_directory_symlink(m_temp.path(), other / "link");
    const auto before = openDescriptors();
    FileLocker second;
    {
        FileLocker first;
        // The first comes between the second's opening and its locking.
        afterOpen = [&] { ASSERT_TRUE(first.lock(m_path.c_str())); };
        EXPECT_FALSE(second.lock(m_path.c_str()));
        EXPECT_EQ(second.status(), eAlreadyExists);
        EXPECT_TRUE(isLocked(m_path));
        for (const std::string& path : {m_path, other / "link/file"}) {
            FileLocker third;
            EXPECT_FALSE(third.lockExisting(path.c_str()));
            EXPECT_EQ(third.status(), eAlreadyExists);
        }
        afterOpen = [] {};
        closeBesideLocks(::open(m_path.c_str(), O_RDONLY | O_CLOEXEC));
        struct stat file {};
        ASSERT_EQ(::stat(m_path.c_str(), &file), 0);
        EXPECT_TRUE(isLockedByThisProcess(file.st_dev, file.st_ino));
        EXPECT_TRUE(isLocked(m_path));
    }
    EXPECT_FALSE(isLocked(m_path));
    EXPECT_EQ(openDescriptors(), before) << "what was kept open is closed with the lock";

    util::FlagManager owner;
    util::FlagManager asker;
    owner.setDirectory(m_temp.path().native());
    asker.setDirectory(other / "link");
    ASSERT_EQ(owner.writeFlag("flag", false, nullptr), eOK);
    EXPECT_EQ(asker.writeFlag("flag", true, nullptr), eAlreadyExists);
    EXPECT_EQ(asker.isFlagOwner("flag"), eNotOwner);
    EXPECT_EQ(asker.removeFlag("flag", true, true), eAlreadyExists);
    EXPECT_EQ(asker.removeFlag("flag", false, true), eAlreadyExists);
    EXPECT_TRUE(isLocked(m_flag + ".dflgzentor"));
}

TEST_F(FileLockerTest, WhereNothingCanBeLockedTheRecordGuardsTheFlag) {
    fault = {Call::lock, ENOLCK};
    support::writeFile(m_flag + ".dflgzentor", "");
    basekit2::variant_bag_t record;
    record.put("pid", static_cast<std::uint32_t>(util::getPPid()));
    record.put("ppid", static_cast<std::uint32_t>(util::getPpidFromProc(util::getPPid())));
    {
        FileLocker info;
        ASSERT_TRUE(info.lock((m_flag + ".infozentor").c_str()));
        ASSERT_EQ(info.writeData(record), eOK);
    }
    util::FlagManager flags;
    basekit2::variant_bag_t owner;
    EXPECT_EQ(flags.writeFlag(m_flag.c_str(), false, &owner), eFileLocked);
    EXPECT_EQ(owner, record);
    EXPECT_EQ(flags.isFlagOwner(m_flag.c_str()), eNotOwner);
    // Half a record may be that of an owner who lives.
    support::writeFile(m_flag + ".infozentor", "<bag v=");
    EXPECT_EQ(flags.writeFlag(m_flag.c_str(), false, &owner), eSerializationError);
    EXPECT_EQ(flags.writeFlag(m_flag.c_str(), true, nullptr), eOK);
}

TEST_F(FileLockerTest, LocksTheFileThatIsAtThePath) {
    // Another process deletes the file, and makes it anew, between our opening and our locking.
    beforeLock = [this] {
        ::unlink(m_path.c_str());
        support::writeFile(m_path, "");
    };
    {
        FileLocker locker;
        EXPECT_TRUE(locker.lock(m_path.c_str()));
        EXPECT_EQ(locker.checkAt(m_path.c_str()), eOK);
    }
    // A file that is deleted over and over is let go in the end.
    std::function<void()> again = [&] {
        ::unlink(m_path.c_str());
        beforeLock = again;
    };
    beforeLock = again;
    FileLocker unlucky;
    EXPECT_FALSE(unlucky.lock(m_path.c_str()));
    EXPECT_EQ(unlucky.status(), eFileLocked);
    beforeLock = nullptr;
    EXPECT_FALSE(FileLocker().lockExisting((m_path + "-none").c_str()));
    EXPECT_FALSE(fs::exists(m_path + "-none"));
}

TEST(ProcessIds, ParentIsReadFromAStatus) {
    const struct {
        const char* text;
        int ppid;
    } cases[] = {
        {"Name:\tx\nPid:\t7\nPPid:\t42\nUid:\t0\n", 42},
        {"\n\nPPid:  \t 5", 5},
        {"Name:\tPPid:\t9\nPPid:\t1\n", 1},
        {"Name:\tx\nPid:\t7\n", 0},
        {" PPid:\t3\n", 0},
        {"", 0},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(util::readPpid(each.text), each.ppid) << each.text;
    }
    EXPECT_EQ(util::getPpidFromProc(util::getPid()), util::getPPid());
    EXPECT_EQ(util::getPpidFromProc(-1), 0);
    EXPECT_EQ(util::getDataFlagName("sample"), "samples");
}

}  // namespace
