#pragma once
/// The nodes of a directory.

#include <string>
#include <vector>

#include "base/failure.h"

namespace cli {

/// The marker and link files of the nodes that the last component of `path` stands for: a name, a
/// pattern, or "*". Ordered by their names as people count, r999 before r1000: the newest of a
/// series is the last. A relative path begins in `directory`; null for the working directory.
/// Raises `Failure` for what is no name.
std::vector<std::string> membersAt(const std::string& path, const char* directory);

/// Why a search for `pattern` ended with `status`.
Failure searchFailure(vesta2::error_t status, const std::string& pattern);

}  // namespace cli
