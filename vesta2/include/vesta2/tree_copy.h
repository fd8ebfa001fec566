#pragma once
/// Copies of directory trees, and the deletion of files by their names.
///
/// Any thread may call any function, but only one at a time may change a tree.

#include <string>

#include "basekit2/path.h"
#include "basekit2/string_span.h"
#include "notify2/progress.h"
#include "vesta2/boost_fwd.h"
#include "vesta2/export.h"

namespace vesta2 {

/// Copies what the directory `source` holds into the directory `destination`, which must exist.
/// Left out are entries, directories too, whose bare names match one of `patterns` (see
/// `basekit2::path_t::match`), symbolic links, and whatever is neither directory nor regular file.
/// Left out are also temporary files of interrupted saves (".bagtmp-*") and files that this process
/// has locked for a flag. Files keep their times and permissions, holes stay holes, and blocks are
/// shared where the file system can. No file is replaced, nothing is flushed. A tree may be deeper
/// than paths are long.
///
/// Of what lies directly in `source`, marker files, ".bad" and ".norun" come last, under a
/// temporary name until they are whole, and only if all else directly in it was copied: a copy that
/// was interrupted is no node.
///
/// The files of a tree that has many are copied by several threads, as many as the calling thread
/// may use processors, at most 8. They end with the call and take no signals.
///
/// `progress` may be null. It is called on the calling thread only. It is told of each file before
/// it is copied, of small ones that another thread copies afterwards, and once of its size when it
/// was, or in steps when that is more than 8 MiB. Cancelling takes effect between entries and
/// within large files.
///
/// Returns: false when it was cancelled, when a directory to be made is there already, when
/// `destination` lies below `source`, or for an empty path. What was copied until then stays.
/// Deliberate: returns true when a step FAILED (a file that is there already, that cannot be read
/// or written): the rest of that directory is left out, its parent goes on, and the status tells
/// the last such failure. Which files are the rest depends on the order of the listing, and on what
/// other threads copy meanwhile.
/// Status: `eParameterError` for an empty path, `eInvalidPath` for a copy into itself, else that of
/// the last step that failed. It stays as it is when none fails: set it to `eOK` first. Disk:
/// nothing is written outside of `destination`, and nothing in `source` but times of access.
VESTA2_API bool copyDirectoryWithExlusionPattern(boost::filesystem::path source,
                                                 boost::filesystem::path destination,
                                                 basekit2::string_span_t patterns,
                                                 notify2::IProgress* progress);

/// The same without the files of flags, and without progress.
VESTA2_API bool copyWithExcludingFlags(boost::filesystem::path source,
                                       boost::filesystem::path destination);

/// Returns: whether `fileName` matches one of `patterns`. Nothing is looked at on disk.
VESTA2_API bool skipOnExport(const std::string& fileName, basekit2::string_span_t patterns);

/// Deletes all files below `directory` whose names end with `suffix` (which may hold wildcards), in
/// byte order of their paths, up to the first that cannot be deleted. True when all are gone, also
/// when there was none; else the status is set.
VESTA2_API bool removeFiles(const basekit2::path_t& directory, const std::string& suffix);

}  // namespace vesta2
