#pragma once
/// The one way from a failed system call to an exception.

#include <boost/filesystem/exception.hpp>
#include <cerrno>

namespace vesta2 {

/// Leaves `errno` at its end as it was at its beginning.
class KeptErrno {
public:
    KeptErrno() = default;
    ~KeptErrno() { errno = m_error; }
    KeptErrno(const KeptErrno&) = delete;
    KeptErrno& operator=(const KeptErrno&) = delete;

private:
    int m_error = errno;
};

/// Throws what a call of Boost.Filesystem would, with the error `code`.
[[noreturn]] inline void throwFileError(const char* what, const boost::filesystem::path& path,
                                        int code) {
    throw boost::filesystem::filesystem_error(
        what, path, boost::system::error_code(code, boost::system::system_category()));
}

/// The same with the present `errno`.
[[noreturn]] inline void throwFileError(const char* what, const boost::filesystem::path& path) {
    throwFileError(what, path, errno);
}

}  // namespace vesta2
