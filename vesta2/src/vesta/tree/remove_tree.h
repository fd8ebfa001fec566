#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <optional>

#include "file_id.h"

namespace vesta2 {

/// Deletes `path` with all below it, however deep, and returns how many entries that were; 0 when
/// there was nothing. Symbolic links are deleted, never followed, also when one takes the place of
/// a directory meanwhile; with a directory `inside` above `path`, that holds from there on. Throws
/// `boost::filesystem::filesystem_error` at the first entry that cannot be deleted.
std::uintmax_t removeTree(const boost::filesystem::path& path,
                          const boost::filesystem::path& inside = {});

/// The same, when `path` is what `id` was taken of. Anything else that is there is left alone, and
/// 0 is returned.
std::uintmax_t removeTree(const boost::filesystem::path& path, const FileId& id);

/// Whether no symbolic link leads from the directory `inside` to the directory `path`, which is it
/// or lies below it.
bool staysInside(const boost::filesystem::path& inside, const boost::filesystem::path& path);

}  // namespace vesta2
