#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>

#include "vesta2/export.h"

namespace vesta2 {

/// Bytes and number of the regular files below `directory`. Symbolic links count nothing; what
/// cannot be read is left out.
VESTA2_API std::uint64_t calcDirectoryFilesSize(const boost::filesystem::path& directory);
VESTA2_API std::uint64_t calcDirectoryFilesCount(const boost::filesystem::path& directory);

}  // namespace vesta2
