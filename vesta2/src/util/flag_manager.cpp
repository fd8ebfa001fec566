#include "vesta2/flag_manager.h"

#include <atomic>
#include <unistd.h>

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/thread/mutex.hpp>
#include <exception>
#include <map>

#include "../vesta/foundation/log.h"
#include "basekit2/path.h"
#include "flag_files.h"
#include "vesta2/flag_look.h"
#include "vesta2/names.h"

namespace vesta2::util {

using basekit2::variant_bag_t;

namespace {

using Lock = boost::unique_lock<boost::mutex>;

std::string pathIn(const std::string& directory, const std::string& name) {
    return basekit2::path_t(directory).join(name).text();
}

bool isName(const char* name) { return name && *name; }

std::string bareName(const std::string& name) {
    return std::string(basekit2::path_t(name).last_component());
}

struct Flag {
    boost::shared_ptr<FileLocker> locker;  ///< null while preserved
    variant_bag_t info;
};

}  // namespace

struct FlagManager::Held {
    boost::mutex mutex;
    std::string directory;
    std::map<std::string, Flag> flags;  ///< by name
    boost::unique_lock<boost::mutex> preserveLock;
    std::atomic<int> process{0};  ///< the one that claimed the flags; 0 before the first

    void forgetInherited();
    [[nodiscard]] std::string pathOf(const std::string& name) const;
    void giveUp(std::map<std::string, Flag>::iterator flag);
    error_t claim(const char* name, const FlagFiles& files, bool force, variant_bag_t& record);
};

FlagManager::FlagManager() : m_held(std::make_unique<Held>()) {}

const char* FlagManager::getFlagLockExtension() { return vesta2::getFlagLockExtension(); }
const char* FlagManager::getFlagInfoExtension() { return vesta2::getFlagInfoExtension(); }

std::string getDataFlagName(const std::string& name) { return name + "s"; }

// NOLINTNEXTLINE(bugprone-exception-escape): as promised
FlagManager::~FlagManager() noexcept(false) {
    try {
        eraseAll();
    } catch (const std::bad_alloc&) {
        // The files stay behind, unlocked.
    } catch (const boost::system::system_error& e) {
        logFailure(e);
        // A second exception would end the process.
        if (std::uncaught_exceptions() == 0) {
            throw;
        }
    }
}

std::string FlagManager::Held::pathOf(const std::string& name) const {
    return pathIn(directory, name);
}

void FlagManager::setDirectory(const std::string& directory) {
    const Lock guard(m_held->mutex);
    m_held->forgetInherited();
    if (directory == m_held->directory) {
        return;
    }
    std::map<std::string, Flag> kept;
    while (!m_held->flags.empty()) {
        auto flag = m_held->flags.extract(m_held->flags.begin());
        const std::string name = bareName(flag.key());
        const FlagFiles files(pathIn(directory, name));
        if (files.check(*flag.mapped().locker) == eOK) {
            kept[name] = std::move(flag.mapped());
            continue;
        }
        try {
            FlagFiles(m_held->pathOf(flag.key())).giveUp(*flag.mapped().locker);
        } catch (const boost::system::system_error& e) {
            // The files stay behind; the next to claim the flag finds that its owner has ended.
            logFailure(e);
        }
    }
    m_held->flags = std::move(kept);
    m_held->directory = directory;
}

void FlagManager::Held::forgetInherited() {
    if (!flags.empty() && process != ::getpid()) {
        flags.clear();
    }
}

error_t FlagManager::getFlagInfo(const char* name, variant_bag_t& out) {
    if (!isName(name)) {
        return eParameterError;
    }
    Lock guard(m_held->mutex);
    const FlagFiles files(m_held->pathOf(name));
    guard.unlock();
    return files.readInfo(out);
}

error_t FlagManager::writeFlagInfo(const char* name, variant_bag_t& out) {
    if (!isName(name)) {
        return eParameterError;
    }
    Lock guard(m_held->mutex);
    const FlagFiles files(m_held->pathOf(name));
    guard.unlock();
    return files.writeInfo(out);
}

error_t FlagManager::writeFlag(const char* name, bool force, variant_bag_t* info) {
    if (!isName(name)) {
        return eParameterError;
    }
    const Lock guard(m_held->mutex);
    m_held->forgetInherited();
    variant_bag_t record;
    error_t code = eAlreadyExists;
    const FlagFiles files(m_held->pathOf(name));
    const auto held = m_held->flags.find(name);
    if (held == m_held->flags.end()) {
        code = m_held->claim(name, files, force, record);
        if (code != eOK && info && record.empty()) {
            files.peek(record);
        }
    } else if (force) {
        code = files.refresh(record);
        held->second.info = code == eOK ? record : held->second.info;
    } else {
        record = held->second.info;
    }
    if (info && !record.empty()) {
        *info = std::move(record);
    }
    return code;
}

/// On return `record` is the present owner's, or empty.
error_t FlagManager::Held::claim(const char* name, const FlagFiles& files, bool force,
                                 variant_bag_t& record) {
    auto locker = boost::make_shared<FileLocker>();
    // Noted before: what is claimed must be given up some time.
    process = ::getpid();
    Flag& noted = flags[name] = Flag{locker, {}};
    try {
        const error_t code =
            files.lock(*locker) ? files.claim(*locker, force, record) : locker->status();
        if (code == eOK) {
            noted.info = record;
        } else {
            flags.erase(name);
        }
        return code;
    } catch (const boost::system::system_error&) {
        flags.erase(name);
        throw;
    }
}

/// Forgets it also when its files cannot be deleted, but not when there was no memory to try.
void FlagManager::Held::giveUp(std::map<std::string, Flag>::iterator flag) {
    try {
        FlagFiles(pathOf(flag->first)).giveUp(*flag->second.locker);
    } catch (const boost::system::system_error&) {
        flags.erase(flag);
        throw;
    }
    // Only now: our lock lasts as long as our files.
    flags.erase(flag);
}

error_t FlagManager::removeFlag(const char* name, bool mine, bool forceErase) {
    if (!isName(name)) {
        return eParameterError;
    }
    const Lock guard(m_held->mutex);
    m_held->forgetInherited();
    const FlagFiles files(m_held->pathOf(name));
    if (files.hasNoLockFile() && (!forceErase || files.hasNoInfoFile())) {
        return eNotFound;
    }
    const bool isOurs = m_held->flags.find(name) != m_held->flags.end();
    if (isOurs) {
        return mine ? eraseFlag(name) : eAlreadyExists;
    }
    if (mine && !forceErase) {
        return eNotOwner;
    }
    FileLocker locker;
    if (!(forceErase ? files.lock(locker) : files.lockExisting(locker))) {
        return locker.status();
    }
    return files.removeStale(locker, forceErase);
}

error_t FlagManager::isFlagOwner(const char* name) {
    if (!isName(name)) {
        return eParameterError;
    }
    constexpr int unusedCode = 19;
    Lock guard(m_held->mutex);
    m_held->forgetInherited();
    const std::string path = m_held->pathOf(name);
    if (FlagFiles(path).hasNoLockFile()) {
        return eNotFound;
    }
    if (m_held->flags.find(name) != m_held->flags.end()) {
        return eOK;
    }
    guard.unlock();
    const error_t code = removeFlag(name, false, false);
    switch (static_cast<int>(code)) {
    case eOK:
        return eNotFound;
    case eAlreadyExists:
    case eFileLocked:
    case unusedCode:
        return eNotOwner;
    case eFileAccessDenied:
        // Whose files may not be written can still be looked at.
        return lookAtFlag({}, path).state() == flag_state_t::held ? eNotOwner : code;
    default:
        return code;
    }
}

error_t FlagManager::eraseFlag(const char* name) {
    if (!isName(name)) {
        return eParameterError;
    }
    const FlagFiles files(m_held->pathOf(name));
    const auto held = m_held->flags.find(name);
    if (held != m_held->flags.end()) {
        m_held->giveUp(held);
        return eOK;
    }
    FileLocker locker;
    if (!files.lockExisting(locker)) {
        return locker.status() == eNotFound ? eOK : locker.status();
    }
    return files.removeStale(locker, true);
}

void FlagManager::preserveFlags() {
    Lock guard(m_held->mutex);
    m_held->preserveLock = std::move(guard);
    m_held->forgetInherited();
    for (auto& [name, flag] : m_held->flags) {
        const boost::shared_ptr<FileLocker> locker = std::move(flag.locker);
        FlagFiles(m_held->pathOf(name)).giveUp(*locker);
    }
}

void FlagManager::restoreFlags(const char* directory) {
    const Lock guard = std::move(m_held->preserveLock);
    auto preserved = std::exchange(m_held->flags, {});
    m_held->directory = m_held->directory.empty() ? "" : directory;
    for (auto& [name, flag] : preserved) {
        // If preserving failed before it: closing the locker later would drop the new lock.
        flag.locker.reset();
        const std::string bare = bareName(name);
        const std::string path = pathIn(directory, bare);
        const FlagFiles files(path);
        auto locker = boost::make_shared<FileLocker>();
        // Noted before it is claimed: what is claimed must be given up some time.
        const auto noted =
            m_held->flags.emplace(m_held->directory.empty() ? path : bare, Flag{locker, flag.info});
        if (!files.lock(*locker) || files.restore(flag.info) != eOK) {
            m_held->flags.erase(noted.first);
        }
    }
}

void FlagManager::eraseAll() {
    if (m_held->process == 0 || m_held->process != ::getpid()) {
        // Another thread of the parent may have had the mutex.
        return;
    }
    const Lock guard(m_held->mutex);
    std::exception_ptr failure;
    while (!m_held->flags.empty()) {
        try {
            m_held->giveUp(m_held->flags.begin());
        } catch (const boost::system::system_error&) {
            failure = failure ? failure : std::current_exception();
        }
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

}  // namespace vesta2::util
