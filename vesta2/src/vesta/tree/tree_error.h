#pragma once

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

/// Throws what a call of Boost.Filesystem would, with the present `errno`.
[[noreturn]] inline void throwTreeError(const char* what, const boost::filesystem::path& path) {
    const int error = errno;
    throw boost::filesystem::filesystem_error(
        what, path, boost::system::error_code(error, boost::system::system_category()));
}

}  // namespace vesta2
