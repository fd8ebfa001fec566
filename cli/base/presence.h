#pragma once
/// Whether a file is there: yes, no, or an error.

#include <string>

namespace cli {

/// Whether there is a directory entry at `path`; symbolic links are not followed. False for ENOENT
/// and ENOTDIR alone: any other error raises `Failure`.
bool isThere(const std::string& path);

}  // namespace cli
