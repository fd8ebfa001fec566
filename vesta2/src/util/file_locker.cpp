#include "vesta2/file_locker.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <string>

#include "../vesta/foundation/local_disk.h"
#include "../vesta/foundation/locked_files.h"
#include "flag_record.h"

namespace vesta2::util {

static_assert(sizeof(FileLocker) == 8, "one is held for every flag");

namespace {

/// Each further try means that another process has just deleted the file that we locked.
constexpr int mostTries = 100;

using Guard = std::lock_guard<std::mutex>;

int setLock(int descriptor, short type) {
    struct flock request {};
    request.l_type = type;
    request.l_whence = SEEK_SET;
    int result = 0;
    do {
        result = ::fcntl(descriptor, F_SETLK, &request);
    } while (result != 0 && errno == EINTR);
    return result;
}

/// Whether `errno` says that there is no such file any more.
bool isGone() { return errno == ENOENT || errno == ENOTDIR || errno == ESTALE; }

/// Whether the server of a network file system has the file no longer. Some clients answer every
/// other question about a file from what they remember.
bool isGoneAtServer(int descriptor, struct statfs& fileSystem) {
    return ::fstatfs(descriptor, &fileSystem) != 0 && isGone();
}

/// As the server of a network file system knows it now: what its client remembers may be of
/// before another host deleted the file. The path "" stands for `directory` itself.
bool askServer(int directory, const char* path, struct statx& file) {
    constexpr int flags = AT_EMPTY_PATH | AT_SYMLINK_NOFOLLOW | AT_STATX_FORCE_SYNC;
    return ::statx(directory, path, flags, STATX_TYPE | STATX_INO | STATX_NLINK, &file) == 0;
}

bool isSame(const struct statx& a, const struct statx& b) {
    return a.stx_ino == b.stx_ino && a.stx_dev_major == b.stx_dev_major &&
           a.stx_dev_minor == b.stx_dev_minor;
}

/// Makes the client of a network file system ask its server again which file is at `path`: that
/// the one that it remembers is gone only shows when the server is asked something about it.
void forgetName(const char* path) {
    struct statfs ignored {};
    ::statfs(path, &ignored);
}

error_t whyNotOpen() {
    switch (errno) {
    case EACCES:
    case EROFS:
        return eFileAccessDenied;
    case EMFILE:
        return eTooManyOpenFiles;
    default:
        return eFileError;
    }
}

/// Whether this process has locked any file.
bool hasLocks() {
    LockedFiles& files = LockedFiles::get();
    const Guard guard(files.mutex());
    return !files.isEmpty();
}

/// Whether this process has locked the file at `path`. It should not even be opened then: it could
/// not be closed.
bool isLockedHere(const char* path) {
    struct stat file {};
    return hasLocks() && ::lstat(path, &file) == 0 &&
           isLockedByThisProcess(file.st_dev, file.st_ino);
}

}  // namespace

FileLocker::~FileLocker() { close(); }

bool FileLocker::lock(const char* path) { return lockAt(path, O_CREAT); }

bool FileLocker::lockExisting(const char* path) { return lockAt(path, 0); }

bool FileLocker::lockAt(const char* path, int openFlags) {
    for (int attempt = 0; attempt < mostTries; ++attempt) {
        m_status = eOK;
        const attempt_t outcome = tryLock(path, openFlags);
        if (outcome == attempt_t::done) {
            return true;
        }
        close();
        if (outcome == attempt_t::failed) {
            return false;
        }
        forgetName(path);
    }
    m_status = eFileLocked;
    return false;
}

FileLocker::attempt_t FileLocker::tryLock(const char* path, int openFlags) {
    if (isLockedHere(path)) {
        return fail(eAlreadyExists);
    }
    attempt_t outcome = open(path, openFlags);
    if (outcome == attempt_t::done) {
        outcome = lockOpened();
    }
    if (outcome != attempt_t::done) {
        return outcome;
    }
    // Who held the lock before us may have deleted the file before letting go: then what is
    // locked is nothing that anybody else will ever find.
    switch (checkAt(path)) {
    case eOK:
        return attempt_t::done;
    case eNotFound:
        return attempt_t::again;
    default:
        return fail(eFileError);
    }
}

FileLocker::attempt_t FileLocker::fail(error_t status) {
    m_status = status;
    return attempt_t::failed;
}

FileLocker::attempt_t FileLocker::open(const char* path, int openFlags) {
    constexpr int always = O_RDWR | O_DSYNC | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    constexpr mode_t mode = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;
    do {
        m_descriptor = ::open(path, always | openFlags, mode);
    } while (m_descriptor < 0 && errno == EINTR);
    if (m_descriptor >= 0) {
        return attempt_t::done;
    }
    // What a network file system answers when another host deletes or makes the file meanwhile.
    if (errno == ESTALE || errno == EEXIST) {
        return attempt_t::again;
    }
    return fail(errno == ENOENT && (openFlags & O_CREAT) == 0 ? eNotFound : whyNotOpen());
}

FileLocker::attempt_t FileLocker::lockOpened() {
    LockedFiles& files = LockedFiles::get();
    const Guard guard(files.mutex());
    struct stat file {};
    if (::fstat(m_descriptor, &file) != 0) {
        return errno == ESTALE ? attempt_t::again : fail(eFileError);
    }
    // A hard link: writing here would change the file under its other name.
    if (!S_ISREG(file.st_mode) || file.st_nlink > 1) {
        return fail(eFileError);
    }
    if (files.find(file) >= 0) {
        return fail(eAlreadyExists);
    }
    // Before the lock is asked for, too: a client that opens files late must not be made to lock
    // what it then cannot open.
    struct statfs fileSystem {};
    if (isGoneAtServer(m_descriptor, fileSystem)) {
        return attempt_t::again;
    }
    const bool isGuarded = setLock(m_descriptor, F_WRLCK) == 0;
    if (!isGuarded && (errno == EACCES || errno == EAGAIN)) {
        return fail(eFileLocked);
    }
    if (!isGuarded && isGone()) {
        return attempt_t::again;
    }
    files.add(m_descriptor, file, {isGuarded, isLocalDisk(fileSystem)});
    return attempt_t::done;
}

void FileLocker::close() {
    if (m_descriptor < 0) {
        return;
    }
    LockedFiles& files = LockedFiles::get();
    const Guard guard(files.mutex());
    if (files.holds(m_descriptor)) {
        // To close a file unlocks it, but elsewhere perhaps later.
        if (!files.placeOf(m_descriptor).isLocal) {
            setLock(m_descriptor, F_UNLCK);
        }
        files.remove(m_descriptor);
        ::close(m_descriptor);
    } else {
        files.close(m_descriptor);
    }
    m_descriptor = -1;
}

error_t FileLocker::checkAt(const char* path) const {
    LockedFiles& files = LockedFiles::get();
    std::unique_lock guard(files.mutex());
    if (!files.placeOf(m_descriptor).isLocal) {
        guard.unlock();
        return checkAtServer(path);
    }
    struct stat found {};
    if (::lstat(path, &found) != 0) {
        return isGone() ? eNotFound : eFileError;
    }
    return files.isOf(m_descriptor, found) ? eOK : eNotFound;
}

error_t FileLocker::checkAtServer(const char* path) const {
    struct statfs fileSystem {};
    struct statx opened {};
    struct statx found {};
    if (isGoneAtServer(m_descriptor, fileSystem)) {
        return eNotFound;
    }
    if (!askServer(m_descriptor, "", opened)) {
        return isGone() ? eNotFound : eFileError;
    }
    if (opened.stx_nlink == 0) {
        return eNotFound;
    }
    if (!askServer(AT_FDCWD, path, found)) {
        return isGone() ? eNotFound : eFileError;
    }
    return isSame(opened, found) ? eOK : eNotFound;
}

bool FileLocker::isGuarded() const {
    LockedFiles& files = LockedFiles::get();
    const Guard guard(files.mutex());
    return files.placeOf(m_descriptor).isGuarded;
}

error_t FileLocker::readData(basekit2::variant_bag_t& out) {
    return finish(readRecord(m_descriptor, out));
}

error_t FileLocker::writeData(basekit2::variant_bag_t& in) {
    std::string text;
    if (basekit2::bag_failed(basekit2::save_variant_bag_to_string(in, text))) {
        return finish(eSerializationError);
    }
    const std::size_t length = text.size() + 1;
    for (std::size_t written = 0; written < length;) {
        const ssize_t n = ::pwrite(m_descriptor, text.c_str() + written, length - written,
                                   static_cast<off_t>(written));
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 1) {
            return finish(eFileError);
        }
        written += static_cast<std::size_t>(n);
    }
    return finish(eOK);
}

}  // namespace vesta2::util
