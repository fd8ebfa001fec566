#pragma once
/// Finding marker files and link files.
///
/// Any thread may call any function. The search functions set the thread's status: `eOK` first,
/// then what they say below.
///
/// A marker file's extension names the kind of its node; a link file has the same extension
/// followed by "link". Extensions compare exactly.
///
/// A search never takes the unknown for the absent: it raises `boost::filesystem::filesystem_error`
/// for a directory that cannot be listed and for a place that cannot be looked at, for any reason
/// but that nothing is there. Only an entry that this process may not look into is passed over
/// where all entries of a directory are searched: it is somebody else's, and hides no other.

#include <string>

#include "vesta2/boost_fwd.h"
#include "vesta2/export.h"
#include "vesta2/file_set.h"

namespace vesta2 {

// Tests of names alone; nothing is looked at on disk, and the status stays as it is.

/// Returns: whether the extension of `path`, from the last dot of its last component on, is
/// `extension`, dot included.
VESTA2_API bool hasExtension(const boost::filesystem::path& path, const std::string& extension);
/// Returns: whether the extension is one of `extensions`.
VESTA2_API bool hasExtension(const boost::filesystem::path& path, const FileSet& extensions);
/// Returns: whether the extension is one of `extensions` followed by "link".
VESTA2_API bool hasLinkExtension(const boost::filesystem::path& path, const FileSet& extensions);
/// Returns: whether the extension ends with "link" and is longer than that.
VESTA2_API bool hasLinkExtension(const boost::filesystem::path& path);
/// Returns: whether `path` is named like a link file of any product.
/// Deliberate: unlike everywhere else, the case of "link" does not matter.
VESTA2_API bool isLink(const std::string& path);

/// Searches one directory.
/// Returns: the full path of the first regular file, in the order in which the file system lists
/// them, that has one of the extensions; empty when none has.
/// Status: `eOK`.
VESTA2_API std::string findMarkerFileInDir(const boost::filesystem::path& directory,
                                           const FileSet& extensions);

/// Finds what identifies the node at `path`.
/// Returns: the marker file in a directory, a marker file itself (with `acceptMarkerFile`), a link
/// file, or the link file beside a name without extension; empty when there is none.
/// Status: `eOK`, also when nothing was found.
VESTA2_API std::string findMarkerFileOrLink(const std::string& path, const FileSet& extensions,
                                            bool acceptMarkerFile);

/// Adds to `found` what the last component of `path` stands for: "*" (also for an empty path) every
/// node of the directory, a name pattern every match, a name that one. With `literal` a pattern is
/// a name. Only the `maxCount` greatest are kept in `found`, all when it is 0.
/// Returns: in `found` the marker and link files, as full paths.
/// Status: `eNotFound` when `found` is empty or the directory is not there, `eInvalidPath` for the
/// root directory, `eParameterError` for a pattern that does not parse, or the code of
/// `validateFileName`.
VESTA2_API void findPatternedMarkerFileOrLink(const std::string& path, const char* baseDir,
                                              const FileSet& extensions, FileSet& found,
                                              int maxCount, bool literal);

/// Finds the newest node of a pattern.
/// Returns: the greatest match of `path`, in file-name order; empty when there is none.
/// Status: as `findPatternedMarkerFileOrLink`.
VESTA2_API std::string findLastMatching(const std::string& path, const char* baseDir,
                                        const std::string& extension, bool literal);

/// Takes a path apart that names a node's directory or, by its extension, the marker file in it.
/// Deliberate: without a marker file, `fileName` becomes the extension itself.
VESTA2_API void splitDirPatternAndFileName(const boost::filesystem::path& path,
                                           const std::string& extension, std::string& directory,
                                           std::string& fileName);

}  // namespace vesta2
