#pragma once

#include <cstdint>

#include "vesta2/boost_fwd.h"
#include "vesta2/export.h"

namespace vesta2 {

/// Bytes and number of the regular files below `directory`, however deep. Symbolic links count
/// nothing. What cannot be read is left out: the first entry of a directory that fails ends the
/// look at that directory, and no status tells that the total is then too small.
VESTA2_API std::uint64_t calcDirectoryFilesSize(const boost::filesystem::path& directory);
VESTA2_API std::uint64_t calcDirectoryFilesCount(const boost::filesystem::path& directory);

}  // namespace vesta2
