#pragma once

#include <boost/filesystem/exception.hpp>
#include <cerrno>

namespace vesta2 {

/// Throws what a call of Boost.Filesystem would, with the present `errno`.
[[noreturn]] inline void throwTreeError(const char* what, const boost::filesystem::path& path) {
    throw boost::filesystem::filesystem_error(
        what, path, boost::system::error_code(errno, boost::system::system_category()));
}

}  // namespace vesta2
