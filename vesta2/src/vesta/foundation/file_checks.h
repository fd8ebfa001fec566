#pragma once
/// Questions about paths that never throw, but for `lookAt` and `resolved`. Symbolic links are
/// followed. Each answers "yes" only when that is certain: an error while looking (no access, no
/// descriptors, a failing disk) is neither "there" nor "absent". What is to be deleted, replaced or
/// claimed because something is missing must ask `isAbsent`, never `!isThere`.

#include <sys/stat.h>

#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "basekit2/file_error.h"
#include "path_parts.h"

namespace vesta2 {

inline boost::filesystem::file_status statusOf(const boost::filesystem::path& path) {
    boost::system::error_code ignored;
    return boost::filesystem::status(path, ignored);
}

inline bool isThere(const boost::filesystem::path& path) {
    return boost::filesystem::exists(statusOf(path));
}

/// Whether nothing is there: the system said ENOENT or ENOTDIR, and nothing else.
inline bool isAbsent(const boost::filesystem::path& path) {
    return statusOf(path).type() == boost::filesystem::file_not_found;
}

inline bool isDirectory(const boost::filesystem::path& path) {
    return boost::filesystem::is_directory(statusOf(path));
}

inline bool isRegularFile(const boost::filesystem::path& path) {
    return boost::filesystem::is_regular_file(statusOf(path));
}

/// Whether both paths lead to one file or directory; none when one of them cannot be looked at. A
/// path leads to the same as itself, whatever comes into its place meanwhile.
inline std::optional<bool> leadToSame(const boost::filesystem::path& a,
                                      const boost::filesystem::path& b) {
    if (a.native() == b.native()) {
        return true;
    }
    struct stat first {};
    struct stat second {};
    if (::stat(a.c_str(), &first) != 0 || ::stat(b.c_str(), &second) != 0) {
        return basekit2::means_absent(errno) ? std::optional<bool>(false) : std::nullopt;
    }
    return first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

/// For who must not take the unknown for the absent: throws `boost::filesystem::filesystem_error`
/// when it cannot be told what is there. What is certainly not there is `file_not_found`.
inline boost::filesystem::file_status lookAt(const boost::filesystem::path& path) {
    namespace fs = boost::filesystem;
    boost::system::error_code error;
    fs::file_status status = fs::status(path, error);
    if (status.type() != fs::status_error) {
        return status;
    }
    if (!basekit2::means_absent(error.value())) {
        basekit2::throw_file_error("cannot look at", path, error.value());
    }
    return fs::file_status(fs::file_not_found);
}

/// Absolute and free of symbolic links; what is not there yet is taken as it is named. Throws as
/// `lookAt`. (Boost's own ends the process when it gets no memory.)
inline std::string resolved(const boost::filesystem::path& path) {
    const std::unique_ptr<char, void (*)(void*)> found(::realpath(path.c_str(), nullptr),
                                                       std::free);
    if (found) {
        return found.get();
    }
    const std::string parent = parentOf(path);
    if (!basekit2::means_absent(errno) || parent.empty()) {
        basekit2::throw_file_error("cannot look at", path);
    }
    return resolved(parent).append("/").append(nameIn(path.native()));
}

}  // namespace vesta2
