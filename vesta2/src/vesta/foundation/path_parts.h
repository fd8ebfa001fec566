#pragma once
/// The parts of a path that `normalPath` or `completePath` has given, taken from its bytes: a path
/// object walks over all components of itself for each.

#include <boost/filesystem/path.hpp>
#include <cstring>
#include <string>
#include <string_view>

namespace vesta2 {

/// What follows the last "/".
inline std::string_view nameIn(std::string_view path) {
    // The library's own search backwards goes byte by byte.
    const void* const slash = ::memrchr(path.data(), '/', path.size());
    return slash ? path.substr(
                       static_cast<std::size_t>(static_cast<const char*>(slash) + 1 - path.data()))
                 : path;
}

inline bool isRoot(const boost::filesystem::path& path) {
    return path.native().find_first_not_of('/') == std::string::npos;
}

/// What the path lies in; empty for a root and for a bare name.
inline std::string parentOf(const boost::filesystem::path& path) {
    const std::string& text = path.native();
    const std::size_t length = text.size() - nameIn(text).size();
    // The root keeps its slash.
    return isRoot(path) ? std::string() : text.substr(0, length > 1 ? length - 1 : length);
}

}  // namespace vesta2
