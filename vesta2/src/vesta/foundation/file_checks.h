#pragma once
/// Questions about paths that never throw: what cannot be told counts as no. Symbolic links are
/// followed.

#include <boost/filesystem/operations.hpp>

namespace vesta2 {

inline boost::filesystem::file_status statusOf(const boost::filesystem::path& path) {
    boost::system::error_code ignored;
    return boost::filesystem::status(path, ignored);
}

inline bool isThere(const boost::filesystem::path& path) {
    return boost::filesystem::exists(statusOf(path));
}

inline bool isDirectory(const boost::filesystem::path& path) {
    return boost::filesystem::is_directory(statusOf(path));
}

inline bool isRegularFile(const boost::filesystem::path& path) {
    return boost::filesystem::is_regular_file(statusOf(path));
}

}  // namespace vesta2
