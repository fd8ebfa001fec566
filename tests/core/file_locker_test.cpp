// Every call that the locker makes is made to fail here, with every error that it tells apart.

#include "vesta2/file_locker.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

#include "basekit2/bag_io.h"
#include "support/failing_call.h"
#include "support/test.h"
#include "vesta/foundation/locked_files.h"
#include "vesta2/flag_look.h"
#include "vesta2/flag_manager.h"
#include "vesta2/process_ids.h"

using namespace vesta2;
using support::always;
using support::fault;
using support::Fault;
using util::FileLocker;
using util::FlagManager;

VESTA2_FAILING_CALL(int, open, (const char* path, int flags, mode_t mode), path, flags, mode)
VESTA2_FAILING_CALL(int, fstat, (int descriptor, struct stat* info), descriptor, info)
VESTA2_FAILING_CALL(int, lstat, (const char* path, struct stat* info), path, info)
VESTA2_FAILING_CALL(int, statx,
                    (int directory, const char* path, int flags, unsigned mask, struct statx* file),
                    directory, path, flags, mask, file)
VESTA2_FAILING_CALL(ssize_t, pread, (int descriptor, void* buffer, size_t size, off_t offset),
                    descriptor, buffer, size, offset)
VESTA2_FAILING_CALL(ssize_t, pwrite,
                    (int descriptor, const void* buffer, size_t size, off_t offset), descriptor,
                    buffer, size, offset)
extern "C" int __real_fcntl(int descriptor, int command, void* argument);
extern "C" int __wrap_fcntl(int descriptor, int command, void* argument) {
    const bool takes =
        command == F_SETLK && static_cast<const struct flock*>(argument)->l_type == F_WRLCK;
    const bool fails =
        takes ? support::fails("lock") : command == F_GETLK && support::fails("query");
    return fails ? support::failure() : __real_fcntl(descriptor, command, argument);
}

bool isOnLocalDisk = true;
extern "C" int __real_fstatfs(int descriptor, struct statfs* info);
extern "C" int __wrap_fstatfs(int descriptor, struct statfs* info) {
    const int result = __real_fstatfs(descriptor, info);
    info->f_type = isOnLocalDisk ? TMPFS_MAGIC : FUSE_SUPER_MAGIC;
    return result;
}

namespace {

using vesta2::error_t;  // the C library has one too

class FileLockerTest : public testing::Test {
protected:
    void TearDown() override { fault = {}, isOnLocalDisk = true; }

    /// Whether another process finds the file locked.
    static bool isLocked(const std::string& path) {
        return support::runInChild([&] { return FileLocker().lock(path.c_str()) ? 0 : 1; }) == 1;
    }
    static std::string recordOf(int pid, int ppid, const std::string& host = "elsewhere") {
        return "<bag v=\"1\"><uint32 n=\"pid\">" + std::to_string(pid) +
               "</uint32><uint32 n=\"ppid\">" + std::to_string(ppid) + "</uint32><str n=\"host\">" +
               host + "</str></bag>";
    }
    /// The files of the flag, or that of the two which there is.
    void plant(bool hasLock, const std::optional<std::string>& info) const {
        fs::remove(m_lock);
        fs::remove(m_info);
        hasLock ? writeFile(m_lock, "") : void();
        info ? writeFile(m_info, *info) : void();
    }
    error_t claim() const { return FlagManager().writeFlag(m_flag.c_str(), false, nullptr); }
    error_t ask() const { return FlagManager().isFlagOwner(m_flag.c_str()); }
    util::FlagLook look() const { return util::lookAtFlag(m_temp.path().native(), "flag"); }

    support::TempDirectory m_temp;
    std::string m_path = m_temp / "file";
    std::string m_flag = m_temp / "flag";
    std::string m_lock = m_flag + ".dflgzentor";
    std::string m_info = m_flag + ".infozentor";
};

TEST_F(FileLockerTest, TellsWhyAFileCannotBeLocked) {
    for (const auto& [call, errors, times, status] : Rows<Text, std::vector<int>, int, error_t>{
             {"open", {EACCES, EROFS}, always, eFileAccessDenied},
             {"open", {EMFILE}, always, eTooManyOpenFiles},
             {"open", {ENOENT}, always, eFileError},
             {"fstat", {EIO}, always, eFileError},
             {"lstat", {EIO}, always, eFileError},
             {"statx", {EIO}, always, eFileError},
             {"lock", {EACCES, EAGAIN}, always, eFileLocked},
             // A file system without record locks: the file counts as locked.
             {"lock", {ENOLCK, EIO}, always, eOK},
             // What passes.
             {"open", {EINTR, ESTALE, EEXIST}, 3, eOK},
             {"fstat", {ESTALE}, 3, eOK},
             {"statx", {ESTALE}, 3, eOK},
             {"lock", {EINTR, ENOENT}, 3, eOK}}) {
        for (const int error : errors) {
            fault = {call, error, 0, times};
            isOnLocalDisk = fault.call != "statx";
            FileLocker locker;
            EXPECT_EQ(locker.lock(m_path.c_str()), status == eOK) << call << error;
            EXPECT_EQ(locker.status(), status) << call << error;
            EXPECT_EQ(locker.isGuarded(), times == 3) << call << error;
            EXPECT_EQ(claim(), status) << call << error;
        }
    }
    EXPECT_EQ(fs::status(m_path).permissions(), 0644);
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
    EXPECT_GT(readFile(m_path).size(), 300U);
    for (const int error : {0, EIO}) {
        fault = {"pwrite", error};
        EXPECT_EQ(locker.writeData(bag), eFileError) << error;
        fault = {"pread", error};
        EXPECT_EQ(locker.readData(read), eFileError) << error;
    }
    fault = {"fstat", EIO};
    EXPECT_EQ(locker.readData(read), eFileError);
    EXPECT_EQ(locker.status(), eFileError);
}

TEST_F(FileLockerTest, ManagerPassesOnWhyAFlagCannotBeClaimedOrAsked) {
    // The lock file is opened first, then the information file.
    for (const auto& [given, claimed, asked] : Rows<Fault, error_t, error_t>{
             {{"open", EMFILE, 1, always}, eTooManyOpenFiles, eTooManyOpenFiles},
             {{"open", EROFS, 1, always}, eFileAccessDenied, eNotOwner},
             {{"lock", EAGAIN, 1, always}, eFileLocked, eNotOwner},
             {{"pread", EIO, 0, always}, eFileError, eFileError}}) {
        plant(true, recordOf(0, 1));
        fault = given;
        EXPECT_EQ(claim(), claimed);
        fault = given;
        EXPECT_EQ(ask(), asked);
        fault = {};
    }
    // A claim that cannot be recorded leaves nothing.
    plant(false, std::nullopt);
    for (const bool isStale : {false, true}) {
        for (const Fault& each : {Fault{"open", EMFILE, 1}, Fault{"pwrite", ENOSPC}}) {
            isStale ? plant(true, recordOf(0, 1)) : void();
            fault = each;
            EXPECT_EQ(claim(), each.error == EMFILE ? eTooManyOpenFiles : eFileError);
            EXPECT_EQ(fs::is_empty(m_temp.path()), !isStale || each.error == ENOSPC);
            EXPECT_EQ(claim(), eOK);
        }
    }
}

TEST_F(FileLockerTest, WhatCannotBeLookedAtIsHeld) {
    using enum util::flag_state_t;
    support::ChildProcess child([] { return 0; });
    const pid_t ended = child.pid();
    ASSERT_EQ(child.wait(), 0);
    for (const int ppid : {util::getPid(), 0}) {
        plant(true, recordOf(ended, ppid));
        // The lock file is opened first, then the information file, then the owner's status.
        for (const auto& [state, faults] : Rows<util::flag_state_t, std::vector<Fault>>{
                 {held, {{"open", EMFILE}, {"open", EIO, 1}, {"open", EMFILE, 2}}},
                 {held, {{"query", EIO}, {"pread", EIO}}},
                 {stale, {{"none"}, {"open", ENOENT, 2}, {"query", ENOLCK}}},
                 {free, {{"open", ENOENT, 1}}}}) {
            for (const Fault& each : faults) {
                fault = each;
                EXPECT_EQ(look().state(), state) << each.call << ' ' << each.error;
            }
        }
        // Nor is it taken or deleted.
        fault = {"open", EMFILE, 2};
        EXPECT_EQ(claim(), eFileLocked);
        fault = {"open", EACCES};
        EXPECT_EQ(ask(), eFileAccessDenied);
        fault = {"open", EACCES, 0, 2};
        EXPECT_EQ(ask(), eNotOwner);
        EXPECT_EQ(claim(), eOK);
    }
}

TEST_F(FileLockerTest, FlagsLeftBehindAreJudgedByTheirRecord) {
    using enum util::flag_state_t;
    const support::ChildProcess owner(::pause);
    const int self = util::getPid();
    // A number that another process has got since.
    const std::string reused = recordOf(owner.pid(), self + 1);
    // What a look tells, and what a claim, a removal and a question come to.
    for (const auto& [hasLock, info, state, claimed, removed, asked] :
         Rows<bool, std::optional<std::string>, util::flag_state_t, error_t, error_t, error_t>{
             {true, std::nullopt, free, eOK, eNotFound, eNotFound},
             {true, "", free, eOK, eNotFound, eNotFound},
             {true, "<bag v=", free, eOK, eNotFound, eNotFound},
             {false, reused, stale, eOK, eNotFound, eNotFound},
             {true, recordOf(owner.pid(), self), held, eFileLocked, eFileLocked, eNotOwner},
             {true, reused, stale, eOK, eOK, eNotFound},
             {true, recordOf(owner.pid(), 1, std::string(5000, 'h')), stale, eOK, eOK,
              eNotFound}}) {
        plant(hasLock, info);
        EXPECT_EQ(look().state(), state) << info.value_or("none");
        EXPECT_EQ(FlagManager().removeFlag(m_flag.c_str(), false, false), removed);
        plant(hasLock, info);
        EXPECT_EQ(ask(), asked) << info.value_or("none");
        for (const bool force : {false, true}) {
            plant(hasLock, info);
            FlagManager flags;
            const error_t expected = force ? eOK : claimed;
            EXPECT_EQ(flags.writeFlag(m_flag.c_str(), force, nullptr), expected);
            EXPECT_EQ(look().record().get_variant("pid").to_int64() == self, expected == eOK);
            EXPECT_EQ(isLocked(m_lock), expected == eOK) << info.value_or("none");
        }
    }
    // Past what is read of a record; the new one is found in front of the rest.
    writeFile(m_info, recordOf(owner.pid(), self) + std::string(64 * 1024, ' '));
    EXPECT_EQ(claim(), eOK);
    // Somebody who is about to claim it.
    FileLocker locker;
    ASSERT_TRUE(locker.lock(m_lock.c_str()));
    support::checkInChild([this] {
        EXPECT_EQ(FlagManager().writeFlag(m_flag.c_str(), true, nullptr), eFileLocked);
        EXPECT_EQ(look().state(), held);
    });
}

// Where symbolic links would lead is watched by the trial of places.
TEST_F(FileLockerTest, WhatOthersPlantedIsNoFlag) {
    writeFile(m_path, recordOf(1, 1));
    for (const std::string& planted : {m_lock, m_info}) {
        for (const bool isPipe : {true, false}) {
            isPipe ? void(::mkfifo(planted.c_str(), 0666)) : fs::create_hard_link(m_path, planted);
            for (const bool force : {false, true}) {
                EXPECT_NE(FlagManager().writeFlag(m_flag.c_str(), force, nullptr), eOK) << planted;
                EXPECT_NE(FlagManager().removeFlag(m_flag.c_str(), force, force), eOK) << planted;
            }
            EXPECT_NE(ask(), eOK);
            look();
            EXPECT_EQ(fs::status(planted).type(), isPipe ? fs::fifo_file : fs::regular_file);
            fs::remove(planted);
        }
    }
    EXPECT_EQ(readFile(m_path), recordOf(1, 1));
}

TEST_F(FileLockerTest, AFlagIsGivenUpWhileSomebodyReadsItsRecord) {
    FlagManager owner;
    ASSERT_EQ(owner.writeFlag(m_flag.c_str(), false, nullptr), eOK);
    const support::ChildProcess reader([this] {
        FileLocker locker;
        return locker.lock(m_info.c_str()) ? ::raise(SIGSTOP) : 1;
    });
    int status = 0;
    ASSERT_EQ(::waitpid(reader.pid(), &status, WUNTRACED), reader.pid());
    ASSERT_TRUE(WIFSTOPPED(status)) << "it has the lock";
    support::checkInChild([this] {
        basekit2::variant_bag_t record;
        EXPECT_EQ(FlagManager().writeFlag(m_flag.c_str(), false, &record), eFileLocked);
        EXPECT_EQ(record.get_variant("pid").to_int64(), ::getppid()) << "told who has it";
    });
    EXPECT_EQ(owner.removeFlag(m_flag.c_str(), true, false), eOK);
    EXPECT_TRUE(fs::is_empty(m_temp.path()));
}

TEST_F(FileLockerTest, OneProcessLocksAFileOnceAndLosesNoLockByIt) {
    const support::TempDirectory other;
    fs::create_directory_symlink(m_temp.path(), other / "link");
    const auto before = namesIn("/proc/self/fd").size();
    FileLocker second;
    {
        FileLocker first;
        // The first comes just before the second's opening.
        fault = {"open", 0, 0, 1, [&] { ASSERT_TRUE(first.lock(m_path.c_str())); }};
        EXPECT_FALSE(second.lock(m_path.c_str()));
        EXPECT_EQ(second.status(), eAlreadyExists);
        EXPECT_TRUE(isLocked(m_path));
        for (const std::string& path : {m_path, other / "link/file"}) {
            FileLocker third;
            EXPECT_FALSE(third.lockExisting(path.c_str()));
            EXPECT_EQ(third.status(), eAlreadyExists);
        }
        closeBesideLocks(::open(m_path.c_str(), O_RDONLY | O_CLOEXEC, 0));
        EXPECT_TRUE(isLocked(m_path));
    }
    EXPECT_FALSE(isLocked(m_path));
    EXPECT_EQ(namesIn("/proc/self/fd").size(), before) << "what was kept open is closed too";

    FlagManager owner;
    FlagManager asker;
    owner.setDirectory(m_temp.path().native());
    asker.setDirectory(other / "link");
    ASSERT_EQ(owner.writeFlag("flag", false, nullptr), eOK);
    EXPECT_EQ(asker.writeFlag("flag", true, nullptr), eAlreadyExists);
    EXPECT_EQ(asker.isFlagOwner("flag"), eNotOwner);
    EXPECT_EQ(asker.removeFlag("flag", true, true), eAlreadyExists);
    EXPECT_EQ(asker.removeFlag("flag", false, true), eAlreadyExists);
    EXPECT_TRUE(isLocked(m_lock));
}

TEST_F(FileLockerTest, WhereNothingCanBeLockedTheRecordGuardsTheFlag) {
    fault = {"lock", ENOLCK, 0, always};
    plant(true, recordOf(util::getPPid(), util::getPpidFromProc(util::getPPid())));
    EXPECT_EQ(claim(), eFileLocked);
    EXPECT_EQ(ask(), eNotOwner);
    // Half a record may be that of an owner who lives.
    writeFile(m_info, "<bag v=");
    EXPECT_EQ(claim(), eSerializationError);
    EXPECT_EQ(FlagManager().writeFlag(m_flag.c_str(), true, nullptr), eOK);
}

TEST_F(FileLockerTest, LocksTheFileThatIsAtThePath) {
    for (const bool isLocal : {false, true}) {
        isOnLocalDisk = isLocal;
        // Another process deletes the file, and makes it anew, between our opening and our locking.
        fault = {"lock", 0, 0, 1, [this] {
                     ::unlink(m_path.c_str());
                     writeFile(m_path, "");
                 }};
        FileLocker locker;
        EXPECT_TRUE(locker.lock(m_path.c_str()));
        EXPECT_EQ(locker.checkAt(m_path.c_str()), eOK);
    }
    // A file that is deleted over and over is let go in the end.
    fault = {"lock", 0, 0, always, [this] { ::unlink(m_path.c_str()); }};
    FileLocker unlucky;
    EXPECT_FALSE(unlucky.lock(m_path.c_str()));
    EXPECT_EQ(unlucky.status(), eFileLocked);
    EXPECT_FALSE(FileLocker().lockExisting((m_path + "-none").c_str()));
    EXPECT_FALSE(fs::exists(m_path + "-none"));
}

}  // namespace
