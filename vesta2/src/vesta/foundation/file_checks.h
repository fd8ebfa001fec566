#pragma once
/// Questions about paths that never throw. Symbolic links are followed. Each answers "yes" only
/// when that is certain: an error while looking (no access, no descriptors, a failing disk) is
/// neither "there" nor "absent". What is to be deleted, replaced or claimed because something is
/// missing must ask `isAbsent`, never `!isThere`.

#include <boost/filesystem/operations.hpp>

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

}  // namespace vesta2
