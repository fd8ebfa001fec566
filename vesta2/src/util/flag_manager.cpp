#include "vesta2/flag_manager.h"

#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <boost/make_shared.hpp>
#include <cerrno>
#include <chrono>
#include <exception>
#include <thread>

#include "../vesta/foundation/file_checks.h"
#include "basekit2/path.h"
#include "flag_record.h"
#include "vesta2/names.h"
#include "vesta2/process_ids.h"

namespace vesta2::util {

namespace fs = boost::filesystem;
using basekit2::variant_bag_t;

namespace {

using Lock = boost::unique_lock<boost::mutex>;

std::string lockPath(const std::string& name) { return name + vesta2::getFlagLockExtension(); }
std::string infoPath(const std::string& name) { return name + vesta2::getFlagInfoExtension(); }

/// Who has the lock file may wait for the information file: others hold that only while they read
/// or write it. A claim that gave up at once would leave the flag to nobody when two try together.
template <class Operation>
error_t patiently(const Operation& operation) {
    constexpr int mostTries = 500;
    error_t code = operation();
    for (int attempt = 1; code == eFileLocked && attempt < mostTries; ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        code = operation();
    }
    return code;
}

error_t lockWhenThere(FileLocker& locker, const std::string& path) {
    return locker.lockExisting(path.c_str()) ? eOK : locker.status();
}

/// Deletes the file that `locker` has locked. What has taken its place belongs to somebody else.
void removeLocked(const FileLocker& locker, const std::string& path) {
    if (locker.isAt(path.c_str()) && ::unlink(path.c_str()) != 0) {
        throw fs::filesystem_error(
            "cannot delete", path,
            boost::system::error_code(errno, boost::system::system_category()));
    }
}

/// Deletes both files while both are locked: nobody can claim the flag in between and lose its
/// record. Of a file that is not there nothing need be locked.
error_t removeFiles(const FileLocker& lockFile, const std::string& name) {
    FileLocker infoFile;
    const std::string info = infoPath(name);
    const error_t code = patiently([&] { return lockWhenThere(infoFile, info); });
    removeLocked(lockFile, lockPath(name));
    if (code != eOK) {
        return code == eNotFound ? eOK : code;
    }
    removeLocked(infoFile, info);
    return eOK;
}

/// Deletes the files of a flag that this process holds. No lock is asked for the information file:
/// it is ours, unless somebody has made a lock file in place of ours.
void removeOwnFiles(const FileLocker& locker, const std::string& name) {
    removeLocked(locker, lockPath(name));
    if (!isThere(lockPath(name))) {
        fs::remove(infoPath(name));
    }
}

}  // namespace

const char* FlagManager::getFlagLockExtension() { return vesta2::getFlagLockExtension(); }
const char* FlagManager::getFlagInfoExtension() { return vesta2::getFlagInfoExtension(); }

std::string getDataFlagName(const std::string& name) { return name + "s"; }

// NOLINTNEXTLINE(bugprone-exception-escape): as promised
FlagManager::~FlagManager() noexcept(false) { eraseAll(); }

void FlagManager::forgetInherited() {
    if (m_process != getPid()) {
        m_flags.clear();
        m_process = getPid();
    }
}

error_t FlagManager::getFlagInfo(const char* name, variant_bag_t& out) {
    FileLocker file;
    return file.lock(infoPath(name).c_str()) ? file.readData(out) : file.status();
}

error_t FlagManager::writeFlagInfo(const char* name, variant_bag_t& out) {
    FileLocker file;
    if (!file.lock(infoPath(name).c_str())) {
        return file.status();
    }
    fillRecord(out);
    return file.writeData(out);
}

/// `getFlagInfo` that waits for other readers and makes no file.
error_t FlagManager::readOwner(const char* name, variant_bag_t& out) {
    return patiently([&] {
        FileLocker file;
        const error_t code = lockWhenThere(file, infoPath(name));
        return code == eOK ? file.readData(out) : code;
    });
}

/// `writeFlagInfo` that waits for readers. `record` is empty when it fails.
error_t FlagManager::writeOwner(const char* name, variant_bag_t& record) {
    const error_t code = patiently([&] { return writeFlagInfo(name, record); });
    if (code != eOK) {
        record.clear();
    }
    return code;
}

error_t FlagManager::writeFlag(const char* name, bool force, variant_bag_t* info) {
    const Lock guard(m_mutex);
    forgetInherited();
    variant_bag_t record;
    error_t code = eAlreadyExists;
    const auto held = m_flags.find(name);
    if (held == m_flags.end()) {
        code = claim(name, force, record);
    } else if (force) {
        code = writeOwner(name, record);
        held->second.info = code == eOK ? record : held->second.info;
    } else {
        record = held->second.info;
    }
    if (info && !record.empty()) {
        *info = std::move(record);
    }
    return code;
}

/// On return `record` is that of who has the flag now, or empty.
error_t FlagManager::claim(const char* name, bool force, variant_bag_t& record) {
    auto locker = boost::make_shared<FileLocker>();
    if (!locker->lock(lockPath(name).c_str())) {
        readOwner(name, record);
        return locker->status();
    }
    if (!force) {
        const error_t found = readOwner(name, record);
        if (found == eOK && !isReclaimable(record)) {
            return eFileLocked;
        }
        if (found != eOK && found != eNotFound) {
            return found;
        }
        record.clear();
    }
    const error_t code = writeOwner(name, record);
    if (code == eOK) {
        m_flags[name] = Flag{std::move(locker), record};
    }
    return code;
}

error_t FlagManager::removeFlag(const char* name, bool mine, bool forceErase) {
    const Lock guard(m_mutex);
    forgetInherited();
    if (!isThere(lockPath(name))) {
        return eNotFound;
    }
    const bool isOurs = m_flags.find(name) != m_flags.end();
    if (isOurs && !mine) {
        return eAlreadyExists;
    }
    if (isOurs || (mine && forceErase)) {
        return eraseFlag(name);
    }
    if (mine) {
        return eNotOwner;
    }
    FileLocker lockFile;
    if (const error_t code = lockWhenThere(lockFile, lockPath(name))) {
        return code;
    }
    if (!forceErase) {
        // The record is read under the lock that guards it: nobody can claim the flag between the
        // judgement and the deletion.
        variant_bag_t record;
        if (const error_t code = readOwner(name, record)) {
            return code;
        }
        if (!isReclaimable(record)) {
            return eFileLocked;
        }
    }
    return removeFiles(lockFile, name);
}

error_t FlagManager::isFlagOwner(const char* name) {
    constexpr int unusedCode = 19;
    if (!isThere(lockPath(name))) {
        return eNotFound;
    }
    {
        const Lock guard(m_mutex);
        forgetInherited();
        if (m_flags.find(name) != m_flags.end()) {
            return eOK;
        }
    }
    const error_t code = removeFlag(name, false, false);
    switch (static_cast<int>(code)) {
    case eOK:
        return eNotFound;
    case eAlreadyExists:
    case eFileLocked:
    case unusedCode:
        return eNotOwner;
    default:
        return code;
    }
}

error_t FlagManager::eraseFlag(const char* name) {
    // Kept until the end, so that our own lock lasts as long as our files.
    Flag ours;
    const auto held = m_flags.find(name);
    if (held != m_flags.end()) {
        ours = std::move(held->second);
        m_flags.erase(held);
    }
    FileLocker lockFile;
    const error_t code = lockWhenThere(lockFile, lockPath(name));
    if (code != eOK && code != eNotFound) {
        return code;
    }
    return removeFiles(lockFile, name);
}

void FlagManager::preserveFlags() {
    Lock guard(m_mutex);
    m_preserveLock = std::move(guard);
    forgetInherited();
    for (auto& [name, flag] : m_flags) {
        const boost::shared_ptr<FileLocker> locker = std::move(flag.locker);
        removeOwnFiles(*locker, name);
    }
}

void FlagManager::restoreFlags(const char* directory) {
    std::map<std::string, Flag> restored;
    for (auto& [name, flag] : m_flags) {
        // One that preserving did not come to: its lock would go with its locker later.
        flag.locker.reset();
        const std::string path =
            basekit2::path_t(directory).join(basekit2::path_t(name).last_component()).text();
        auto locker = boost::make_shared<FileLocker>();
        FileLocker infoFile;
        if (locker->lock(lockPath(path).c_str()) &&
            patiently([&] {
                return infoFile.lock(infoPath(path).c_str()) ? eOK : infoFile.status();
            }) == eOK &&
            infoFile.writeData(flag.info) == eOK) {
            restored[path] = Flag{std::move(locker), flag.info};
        }
    }
    m_flags = std::move(restored);
    const Lock guard = std::move(m_preserveLock);
}

void FlagManager::eraseAll() {
    const Lock guard(m_mutex);
    forgetInherited();
    std::exception_ptr failure;
    while (!m_flags.empty()) {
        const auto flag = m_flags.extract(m_flags.begin());
        try {
            removeOwnFiles(*flag.mapped().locker, flag.key());
        } catch (const boost::system::system_error&) {
            failure = failure ? failure : std::current_exception();
        }
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

}  // namespace vesta2::util
