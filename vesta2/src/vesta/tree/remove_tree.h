#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <optional>
#include <set>

#include "basekit2/descriptor.h"
#include "file_id.h"
#include "tree_record.h"

namespace vesta2 {

/// Deletes `path` with all below it, however deep, and returns how many entries that were; 0 when
/// there was nothing. Symbolic links are deleted, never followed, also when one takes the place of
/// a directory meanwhile. Throws `boost::filesystem::filesystem_error` at the first entry that
/// cannot be deleted.
std::uintmax_t removeTree(const boost::filesystem::path& path);

/// The same, when `path` is what `id` was taken of. Anything else that is there is left alone, and
/// 0 is returned. With `known`, all below it is among that: it throws at what has come there, or
/// has changed, meanwhile.
std::uintmax_t removeTree(const boost::filesystem::path& path, const FileId& id,
                          const TreeRecord* known = nullptr);

/// The same, when it is that directory (`isAnother`), or a symbolic link to it: then the link is
/// deleted. With a directory `inside` above it, no symbolic link is followed from there on. Nothing
/// is done in another directory than these.
std::uintmax_t removeTree(const KnownDirectory& tree, const KnownDirectory& inside);

/// Opens the directory `path`, which is `inside` or lies below it; none, with errno, when a
/// symbolic link leads there from `inside`, when that is another directory by now, or when a step
/// fails.
basekit2::descriptor_t openInside(const KnownDirectory& inside,
                                  const boost::filesystem::path& path);

}  // namespace vesta2
