#pragma once

#include <string>

namespace cli {

/// Whether something is at `path`; a symbolic link is something. Raises `Failure` when nobody can
/// tell: what was not found because the disk failed must not be taken for absent.
bool isThere(const std::string& path);

}  // namespace cli
