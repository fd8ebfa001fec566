#pragma once
/// Nodes, groups and files at a path of which the beginning is known.

#include <set>
#include <string>

namespace cli {

enum class PathKind { node, group, directory, file };

/// The path with the home directory in the place of a "~" at its front.
std::string withoutTilde(const std::string& path);

/// The absolute form of a directory; an empty one is the working directory.
std::string fullDirectory(const std::string& path);

/// What begins with `path` and could be of that kind, spelled as `path` is. A directory has "/" at
/// its end, but for that of a result. Where many fit, they are not looked into, and named by their
/// entries alone. Empty when the directory cannot be listed.
std::set<std::string> pathsLike(const std::string& path, PathKind kind);

}  // namespace cli
