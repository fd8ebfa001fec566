#pragma once
/// Measures directory trees.
///
/// Any thread may call any function. A tree that changes meanwhile gives something between before
/// and after.

#include <cstdint>

#include "vesta2/boost_fwd.h"
#include "vesta2/export.h"

namespace vesta2 {

/// Returns: the bytes of the regular files below `directory`, however deep. Symbolic links count
/// nothing, a file with two names counts twice, holes count as bytes.
/// Status: stays as it is.
/// Deliberate: what cannot be read is left out. The first entry of a directory that fails ends the
/// look at that directory, and nothing tells that the total is then too small.
VESTA2_API std::uint64_t calcDirectoryFilesSize(const boost::filesystem::path& directory);
/// Returns: as `calcDirectoryFilesSize`, the number of those files.
VESTA2_API std::uint64_t calcDirectoryFilesCount(const boost::filesystem::path& directory);

}  // namespace vesta2
