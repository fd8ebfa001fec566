#pragma once

#include <string>

#include "vesta2/error.h"

namespace vesta2 {

/// Makes the directory `path`, which must not exist yet: of several processes that try at once, one
/// succeeds. Returns `eOK`; `eAlreadyExists`; `eInsufficientPermissions`, also for a directory that
/// is there and read-only; `eFileError` when that cannot be told; or the mapped error.
error_t createNewDirectory(const std::string& path);

}  // namespace vesta2
