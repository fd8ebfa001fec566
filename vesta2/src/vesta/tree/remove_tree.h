#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>

namespace vesta2 {

/// Deletes `path` with all below it and returns how many entries that were; 0 when there was
/// nothing. Symbolic links are deleted, never followed, also when one takes the place of a
/// directory meanwhile. Throws `boost::filesystem::filesystem_error` at the first entry that cannot
/// be deleted.
std::uintmax_t removeTree(const boost::filesystem::path& path);

}  // namespace vesta2
