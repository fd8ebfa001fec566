#include "glance.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "../vesta/foundation/locked_files.h"
#include "flag_record.h"

namespace vesta2::util {

Glance::Glance(const std::string& path) {
    LockedFiles::get().mutex().lock();
    struct stat file {};
    if (::lstat(path.c_str(), &file) != 0) {
        m_outcome = errno == ENOENT || errno == ENOTDIR ? eNotFound : eFileError;
    } else if (!S_ISREG(file.st_mode)) {
        m_outcome = eNotFound;
    } else {
        m_descriptor = LockedFiles::get().find(file);
        m_isOurs = m_descriptor >= 0;
    }
    if (!m_isOurs) {
        LockedFiles::get().mutex().unlock();
    }
    if (m_outcome == eOK && !m_isOurs) {
        open(path.c_str());
    }
}

Glance::~Glance() {
    if (m_isOurs) {
        LockedFiles::get().mutex().unlock();
    } else if (m_descriptor >= 0) {
        closeBesideLocks(m_descriptor);
    }
}

void Glance::open(const char* path) {
    do {
        m_descriptor = ::open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    } while (m_descriptor < 0 && errno == EINTR);
    if (m_descriptor < 0) {
        m_outcome = errno == ENOENT || errno == ENOTDIR ? eNotFound : eFileError;
    }
}

bool Glance::isLocked() const {
    if (m_isOurs || m_outcome != eOK) {
        return !isAbsent();
    }
    struct flock request {};
    request.l_type = F_WRLCK;
    request.l_whence = SEEK_SET;
    int result = 0;
    do {
        result = ::fcntl(m_descriptor, F_GETLK, &request);
    } while (result != 0 && errno == EINTR);
    if (result == 0) {
        return request.l_type != F_UNLCK;
    }
    // On a file system without record locks the file is not locked.
    constexpr std::array noLocks{ENOLCK, ENOSYS, EOPNOTSUPP, EINVAL};
    return std::find(noLocks.begin(), noLocks.end(), errno) == noLocks.end();
}

error_t Glance::read(basekit2::variant_bag_t& record) const {
    return m_outcome == eOK ? readRecord(m_descriptor, record) : m_outcome;
}

}  // namespace vesta2::util
