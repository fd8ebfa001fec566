#include "base/failure.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include <boost/filesystem/exception.hpp>
#include <cerrno>
#include <filesystem>
#include <new>
#include <system_error>
#include <utility>

#include "base/text.h"

namespace cli {

Failure::Failure(int code, std::string path, std::string problem, std::string remedy)
    : m_code(code),
      m_path(std::move(path)),
      m_problem(std::move(problem)),
      m_remedy(std::move(remedy)) {}

std::string Failure::line() const {
    std::string line = m_path.empty() ? m_problem : m_path + ": " + m_problem;
    if (!m_remedy.empty()) {
        line += "; " + m_remedy;
    }
    return escapeText(line);
}

Failure Failure::fromStatus(vesta2::error_t status, const std::string& path) {
    switch (status) {
    case vesta2::eInsufficientPermissions:
        return fromErrno(EACCES, path);
    case vesta2::eAlreadyExists:
        return fromErrno(EEXIST, path);
    case vesta2::eNotFound:
        return fromErrno(ENOENT, path);
    case vesta2::eFileAccessDenied:
        return fromErrno(EACCES, path);
    case vesta2::eTooManyOpenFiles:
        return fromErrno(EMFILE, path);
    case vesta2::eFileLocked:
    case vesta2::eNotOwner:
        return {exitLocked, path, "another process holds it", "wait until that process has ended"};
    case vesta2::eParameterError:
        return {exitUsage, path, "these arguments do not go together", "see 'vesta2 --help'"};
    case vesta2::eInvalidPath:
        return {exitUsage, path, "cannot be the name of a node",
                "give a plain name; a variable must not bring in '/'"};
    case vesta2::eTooManyPlaceholderGroups:
        return {exitUsage, path, "has more than one group of '@'",
                "use one group, such as 'r@@@', or --literal"};
    case vesta2::eTooLongPlaceholder:
        return {exitUsage, path, "has more than 8 '@'", "use a shorter group, such as 'r@@@'"};
    case vesta2::eReservedCharacters:
        return {exitUsage, path,
                "the name has a reserved character, one of < > : \" / | ? * and backslash",
                "choose another name; a pattern is written with '@', as in 'r@@@'"};
    case vesta2::eReservedDeviceName:
        return {exitUsage, path, "the name is reserved for a device", "choose another name"};
    case vesta2::eInvalidLastCharacter:
        return {exitUsage, path, "the name ends with a dot or a space", "choose another name"};
    case vesta2::eEmptyPattern:
        return {exitUsage, path, "the name is empty", "give a name or a pattern, such as 'r@@@'"};
    case vesta2::eSerializationError:
        return {exitFailure, path, "cannot be read as a node's file", "restore it from a copy"};
    default:
        return {exitFailure, path, "could not be read or written",
                "check the disk, or see the library's log with -v"};
    }
}

Failure Failure::fromErrno(int error, const std::string& path) {
    const std::string problem = std::generic_category().message(error);
    switch (error) {
    case ENOENT:
        return {exitNotFound, path, "no such file or directory", "check the path"};
    case ENOTDIR:
        return {exitNotFound, path, "not a directory", "name a directory"};
    case EEXIST:
        return {exitExists, path, "is there already", "choose another name"};
    case EACCES:
    case EPERM:
        return {exitPermission, path, "permission denied", "ask its owner for access"};
    case EROFS:
        return {exitPermission, path, "on a read-only file system", "copy it elsewhere first"};
    case ENOSPC:
    case EDQUOT:
        return {exitFailure, path, "no space left", "free some space and try again"};
    case EMFILE:
    case ENFILE:
        return {exitFailure, path, "too many open files", "raise the limit with 'ulimit -n'"};
    case ENAMETOOLONG:
        return {exitUsage, path, "the name is too long", "choose a shorter one"};
    default:
        return {exitFailure, path, problem};
    }
}

Failure Failure::fromWriting(vesta2::error_t status, const std::string& path,
                             const std::string& directory) {
    if (::access(directory.c_str(), W_OK | X_OK) != 0) {
        return fromErrno(errno, path);
    }
    struct statvfs info {};
    if (::statvfs(directory.c_str(), &info) == 0 && info.f_blocks > 0 && info.f_bavail == 0) {
        return fromErrno(ENOSPC, path);
    }
    return fromStatus(status, path);
}

Failure Failure::current() {
    try {
        throw;
    } catch (const Failure& failure) {
        return failure;
    } catch (const boost::filesystem::filesystem_error& error) {
        return fromErrno(error.code().value(), error.path1().native());
    } catch (const std::filesystem::filesystem_error& error) {
        return fromErrno(error.code().value(), error.path1().native());
    } catch (const std::bad_alloc&) {
        return {exitFailure, {}, "out of memory"};
    } catch (const std::exception& error) {
        return {exitFailure, {}, error.what()};
    }
}

std::string seeCommand(const std::string& command, const std::string& path) {
    return "see 'vesta2 " + command + " " + shellQuote(path) + "'";
}

}  // namespace cli
