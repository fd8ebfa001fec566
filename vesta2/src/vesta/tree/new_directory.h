#pragma once

#include <boost/filesystem/path.hpp>
#include <string>

#include "vesta2/error.h"

namespace vesta2 {

/// Makes the directory `path`, which must not exist yet: of several processes that try at once, one
/// succeeds. Returns `eOK`; `eAlreadyExists`; `eInsufficientPermissions`, also for a directory that
/// is there and read-only; `eFileError` when that cannot be told; or the mapped error.
error_t createNewDirectory(const std::string& path);

/// Takes from `directory`, which is to hold a copy of `model`, the permissions of others that
/// `model` does not give them. Throws `boost::filesystem::filesystem_error`.
void restrictLike(const boost::filesystem::path& directory, const boost::filesystem::path& model);

}  // namespace vesta2
