#include "flag_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <initializer_list>
#include <thread>

#include "../vesta/foundation/file_error.h"
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
        throwFileError("cannot delete", *failed, error);
    }
}

/// Whether somebody has a file locked, perhaps only for a moment.
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

/// Who has the lock file may wait for the information file: others lock that only while they read
/// it, or delete it. A claim that gave up at once would leave the flag to nobody.
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
    // A record that was written in part, by one who was killed or had no space: were he alive, he
    // would have the lock that we have. Where there are no locks that is not known.
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
        // What has taken its place belongs to somebody else.
        return;
    default:
        throwFileError("cannot look at", m_lockPath);
    }
    FileLocker info;
    if (lockInfo(info, false)) {
        removeFiles({&m_lockPath, &m_infoPath});
    } else if (info.status() == eNotFound) {
        // As soon as the lock file is gone there may be a new one, of somebody else.
        removeFiles({&m_lockPath});
    } else {
        // Somebody reads it without an end, or it cannot be opened. It goes first then: as long as
        // the lock file is there and locked, nobody else can make a new one.
        removeFiles({&m_infoPath, &m_lockPath});
    }
}

}  // namespace vesta2::util
