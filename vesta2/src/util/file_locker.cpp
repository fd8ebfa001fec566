#include "vesta2/file_locker.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "../vesta/foundation/locked_files.h"
#include "flag_record.h"

namespace vesta2::util {

static_assert(sizeof(FileLocker) == 8, "one is held for every flag");

namespace {

/// Each further try means that another process has just deleted the file that we locked.
constexpr int mostTries = 100;

int setLock(int descriptor, short type) {
    struct flock request {};
    request.l_type = type;
    request.l_whence = SEEK_SET;
    request.l_pid = ::getpid();
    int result = 0;
    do {
        result = ::fcntl(descriptor, F_SETLK, &request);
    } while (result != 0 && errno == EINTR);
    return result;
}

bool isFileAt(const char* path, const struct stat& file) {
    struct stat found {};
    return ::lstat(path, &found) == 0 && file.st_dev == found.st_dev && file.st_ino == found.st_ino;
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

}  // namespace

FileLocker::~FileLocker() { close(); }

bool FileLocker::lock(const char* path) { return lockAt(path, O_CREAT); }

bool FileLocker::lockExisting(const char* path) { return lockAt(path, 0); }

bool FileLocker::lockAt(const char* path, int openFlags) {
    for (int attempt = 0; attempt < mostTries; ++attempt) {
        close();
        struct stat opened {};
        if (!open(path, openFlags, opened)) {
            return false;
        }
        {
            LockedFiles& files = LockedFiles::get();
            const std::lock_guard<std::mutex> guard(files.mutex());
            if (setLock(m_descriptor, F_WRLCK) != 0 && (errno == EACCES || errno == EAGAIN)) {
                m_status = eFileLocked;
                return false;
            }
            files.add(m_descriptor, opened);
        }
        // Who held the lock before us may have deleted the file before letting go: then what is
        // locked is nothing that anybody else will ever find.
        if (isFileAt(path, opened)) {
            m_status = eOK;
            return true;
        }
    }
    m_status = eFileLocked;
    return false;
}

bool FileLocker::open(const char* path, int openFlags, struct stat& opened) {
    constexpr int always = O_RDWR | O_DSYNC | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    constexpr mode_t mode = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;
    do {
        m_descriptor = ::open(path, always | openFlags, mode);
    } while (m_descriptor < 0 && errno == EINTR);
    if (m_descriptor < 0) {
        m_status = errno == ENOENT && (openFlags & O_CREAT) == 0 ? eNotFound : whyNotOpen();
        return false;
    }
    if (::fstat(m_descriptor, &opened) != 0 || !S_ISREG(opened.st_mode)) {
        m_status = eFileError;
        return false;
    }
    return true;
}

void FileLocker::close() {
    if (m_descriptor < 0) {
        return;
    }
    {
        LockedFiles& files = LockedFiles::get();
        const std::lock_guard<std::mutex> guard(files.mutex());
        files.remove(m_descriptor);
    }
    setLock(m_descriptor, F_UNLCK);
    ::close(m_descriptor);
    m_descriptor = -1;
}

bool FileLocker::isAt(const char* path) const {
    struct stat opened {};
    return ::fstat(m_descriptor, &opened) == 0 && isFileAt(path, opened);
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
        if (n < 1) {
            return finish(eFileError);
        }
        written += static_cast<std::size_t>(n);
    }
    return finish(eOK);
}

}  // namespace vesta2::util
