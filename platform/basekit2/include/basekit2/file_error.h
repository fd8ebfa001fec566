#pragma once
/// The one way from a failed system call to an exception.

#include <boost/filesystem/exception.hpp>
#include <cerrno>

namespace basekit2 {

/// Leaves `errno` at its end as it was at its beginning.
class kept_errno_t {
public:
    kept_errno_t() = default;
    ~kept_errno_t() { errno = m_error; }
    kept_errno_t(const kept_errno_t&) = delete;
    kept_errno_t& operator=(const kept_errno_t&) = delete;

private:
    int m_error = errno;
};

/// Whether a failed look at a path tells for certain that nothing is there: no entry, no directory
/// that could have one, symbolic links that lead round, or a name that no entry can have.
inline bool means_absent(int error) {
    return error == ENOENT || error == ENOTDIR || error == ELOOP || error == ENAMETOOLONG;
}

/// Throws what a call of Boost.Filesystem would, with the error `code`.
[[noreturn]] inline void throw_file_error(const char* what, const boost::filesystem::path& path,
                                          int code) {
    throw boost::filesystem::filesystem_error(
        what, path, boost::system::error_code(code, boost::system::system_category()));
}

/// The same with the present `errno`.
[[noreturn]] inline void throw_file_error(const char* what, const boost::filesystem::path& path) {
    throw_file_error(what, path, errno);
}

}  // namespace basekit2
