#include "flag_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <initializer_list>
#include <thread>

#include "basekit2/file_error.h"
#include "flag_record.h"
#include "glance.h"
#include "vesta2/names.h"

namespace vesta2::util {

using basekit2::variant_bag_t;

namespace {

bool isAbsent(const std::string& path) {
    struct stat file {};
    return ::lstat(path.c_str(), &file) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

int removeFile(const std::string& path) {
    return ::unlink(path.c_str()) == 0 || errno == ENOENT ? 0 : errno;
}

/// Deletes all of them, the others also when one cannot be.
void removeFiles(std::initializer_list<const std::string*> paths) {
    const std::string* failed = nullptr;
    int error = 0;
    for (const std::string* path : paths) {
        const int outcome = removeFile(*path);
        if (outcome != 0 && !failed) {
            failed = path;
            error = outcome;
        }
    }
    if (failed) {
        basekit2::throw_file_error("cannot delete", *failed, error);
    }
}

/// Whether the file is locked by another process or thread, perhaps only for a moment.
bool isBusy(const FileLocker& locker) {
    return locker.status() == eFileLocked || locker.status() == eAlreadyExists;
}

/// Why the information file could not be locked. That this process reads it in another thread says
/// nothing about the flag.
error_t whyNot(const FileLocker& info) { return isBusy(info) ? eFileLocked : info.status(); }

}  // namespace

FlagFiles::FlagFiles(const std::string& path)
    : m_lockPath(path + getFlagLockExtension()), m_infoPath(path + getFlagInfoExtension()) {}

bool FlagFiles::hasNoLockFile() const { return isAbsent(m_lockPath); }

bool FlagFiles::hasNoInfoFile() const { return isAbsent(m_infoPath); }

void FlagFiles::peek(variant_bag_t& record) const {
    if (Glance(m_infoPath).read(record) != eOK) {
        record.clear();
    }
}

error_t FlagFiles::readInfo(variant_bag_t& record) const {
    FileLocker info;
    return info.lockExisting(m_infoPath.c_str()) ? info.readData(record) : whyNot(info);
}

error_t FlagFiles::writeInfo(variant_bag_t& record) const {
    FileLocker info;
    if (!info.lock(m_infoPath.c_str())) {
        return whyNot(info);
    }
    fillRecord(record);
    return info.writeData(record);
}

/// Waiting is safe with the lock file locked: others hold the information file only while they read
/// or delete it. Two claims that both gave up at once would leave the flag without an owner.
bool FlagFiles::lockInfo(FileLocker& info, bool make) const {
    constexpr int mostTries = 500;
    for (int attempt = 0; attempt < mostTries; ++attempt) {
        if (make ? info.lock(m_infoPath.c_str()) : info.lockExisting(m_infoPath.c_str())) {
            return true;
        }
        if (!isBusy(info)) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

/// `eOK`: the record is that of an owner that has ended. `eNotFound`: there is none.
error_t FlagFiles::judge(const FileLocker& locker, FileLocker& info, variant_bag_t& record) const {
    const error_t code = info.readData(record);
    if (code == eOK) {
        return isReclaimable(record) ? eOK : eFileLocked;
    }
    record.clear();
    // A torn record: its writer was killed or had no space. A living writer would hold the lock
    // that we hold; without record locks that is not known.
    return code == eSerializationError && locker.isGuarded() ? eNotFound : code;
}

/// A claim that cannot be recorded leaves no files.
error_t FlagFiles::record(FileLocker& info, variant_bag_t& record) const {
    const error_t code = info.writeData(record);
    if (code != eOK) {
        record.clear();
        removeFiles({&m_lockPath, &m_infoPath});
    }
    return code;
}

error_t FlagFiles::claim(const FileLocker& locker, bool force, variant_bag_t& record) const {
    FileLocker info;
    if (!lockInfo(info, true)) {
        if (hasNoInfoFile()) {
            removeFile(m_lockPath);
        }
        return whyNot(info);
    }
    if (!force) {
        const error_t found = judge(locker, info, record);
        if (found != eOK && found != eNotFound) {
            return found;
        }
        record.clear();
    }
    fillRecord(record);
    return this->record(info, record);
}

error_t FlagFiles::restore(variant_bag_t& record) const {
    FileLocker info;
    if (lockInfo(info, true)) {
        return this->record(info, record);
    }
    if (hasNoInfoFile()) {
        removeFile(m_lockPath);
    }
    return whyNot(info);
}

error_t FlagFiles::refresh(variant_bag_t& record) const {
    FileLocker info;
    if (!lockInfo(info, true)) {
        return whyNot(info);
    }
    fillRecord(record);
    const error_t code = info.writeData(record);
    if (code != eOK) {
        record.clear();
    }
    return code;
}

error_t FlagFiles::removeStale(const FileLocker& locker, bool force) const {
    FileLocker info;
    if (!lockInfo(info, false)) {
        if (info.status() != eNotFound || !force) {
            return whyNot(info);
        }
        removeFiles({&m_lockPath});
        return eOK;
    }
    variant_bag_t record;
    const error_t found = force ? eOK : judge(locker, info, record);
    if (found == eOK) {
        removeFiles({&m_lockPath, &m_infoPath});
    }
    return found;
}

void FlagFiles::giveUp(const FileLocker& locker) const {
    switch (check(locker)) {
    case eOK:
        break;
    case eNotFound:
        // The file at the path is another owner's.
        return;
    default:
        basekit2::throw_file_error("cannot look at", m_lockPath);
    }
    FileLocker info;
    if (lockInfo(info, false)) {
        removeFiles({&m_lockPath, &m_infoPath});
    } else if (info.status() == eNotFound) {
        // Once the lock file is unlinked another process may create the next one.
        removeFiles({&m_lockPath});
    } else {
        // A reader keeps it locked, or it cannot be opened. It is unlinked first then: while the
        // lock file is there and locked, no other process can create a new pair.
        removeFiles({&m_infoPath, &m_lockPath});
    }
}

}  // namespace vesta2::util
