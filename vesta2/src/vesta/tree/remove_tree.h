#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>

namespace vesta2 {

/// Deletes `path` with all below it and returns how many entries that were; 0 when there was
/// nothing. Symbolic links are deleted, never followed, also when one takes the place of a
/// directory meanwhile; with a directory `inside` above `path`, that holds from there on. Throws
/// `boost::filesystem::filesystem_error` at the first entry that cannot be deleted.
std::uintmax_t removeTree(const boost::filesystem::path& path,
                          const boost::filesystem::path& inside = {});

/// Whether no symbolic link leads from the directory `inside` to the directory `path`, which is it
/// or lies below it.
bool staysInside(const boost::filesystem::path& inside, const boost::filesystem::path& path);

}  // namespace vesta2
