#pragma once
/// The one absolute form of a path, by which nodes are compared and registered.
///
/// Any thread may call any function; a relative path depends on the working directory of the
/// process. Paths are bytes; nothing is looked at on disk, so that symbolic links stay as they are.
/// Nothing here sets the thread's status.

#include "vesta2/boost_fwd.h"
#include "vesta2/export.h"

namespace vesta2 {

/// Returns: `path` with "." and ".." and doubled separators folded. Nothing is above the root.
VESTA2_API boost::filesystem::path normalPath(const boost::filesystem::path& path);

/// As `normalPath`, in place, and drops a trailing separator: "//x" and
/// "/../x/" are "/x".
/// Deliberate: the root itself is nothing but a separator, and becomes the empty path.
VESTA2_API void removeEndingSlash(boost::filesystem::path& path);

/// Returns: the absolute form of `path`: relative to `baseDir` when that is neither null nor empty,
/// else to the working directory. The base itself is not normalised. The root is "/", whatever the
/// base. Throws `boost::filesystem::filesystem_error` when the working directory is needed and
/// cannot be read.
VESTA2_API boost::filesystem::path completePath(const boost::filesystem::path& path,
                                                const char* baseDir);

}  // namespace vesta2
