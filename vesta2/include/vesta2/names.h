#pragma once
/// File-name extensions, fixed names, and the check of names that users choose.
///
/// All extensions derive from the product's short name ("zentor" in the examples). They are
/// computed when the library is loaded and never change: every function here is safe from any
/// thread. A returned `const char*` is valid for the life of the process.

#include <string>

#include "basekit2/string_span.h"
#include "vesta2/error.h"
#include "vesta2/export.h"

namespace vesta2 {

// Extensions begin with their dot. Each is told twice, as a text that lives as long as the process
// and as a string.

/// Returns: the extension of a result's marker file, ".zentor".
VESTA2_API const char* getResultExtension();
/// Returns: the extension of a project's marker file, ".zentorproj".
VESTA2_API const char* getProjectExtension();
/// Returns: the extension of an experiment's marker file, ".zentorexp".
VESTA2_API const char* getExperimentExtension();

/// Returns: as `getResultExtension`, `getProjectExtension` and `getExperimentExtension`.
VESTA2_API std::string resultMarkerFileExt();
VESTA2_API std::string projectMarkerFileExt();
VESTA2_API std::string experimentMarkerFileExt();

/// Returns: "link", which follows the marker's extension in the name of a link file.
VESTA2_API std::string linkSuffix();
/// Returns: the extension of a link file to a result, ".zentorlink".
VESTA2_API std::string resultLinkExt();
/// Returns: the extension of a link file to a project, ".zentorprojlink".
VESTA2_API std::string projectLinkExt();
/// Returns: the extension of a link file to an experiment, ".zentorexplink".
VESTA2_API std::string experimentLinkExt();

/// Returns: the extension of a flag's lock file, ".dflgzentor".
/// Deliberate: here, and in the next, the short name comes last.
VESTA2_API const char* getFlagLockExtension();
/// Returns: the extension of a flag's information file, ".infozentor".
VESTA2_API const char* getFlagInfoExtension();
/// Returns: wildcard patterns that match both files of every flag. Copies leave those files out:
/// they claim the directory that they lie in, and no copy of it. Lifetime: the process.
VESTA2_API basekit2::string_span_t flagFilePatterns();

/// Empty files in a result's directory that tell its state.
namespace mark {
/// Post-processing has ended.
inline constexpr const char* finalized = ".norun";
/// The collection failed; nobody should use the result.
inline constexpr const char* invalid = ".bad";
}  // namespace mark
/// What the name of a result's directory is followed by when the result is marked invalid.
inline constexpr const char* invalidSuffix = "-bad";

/// Usual names of files and directories in a result's directory.
namespace result_file {
/// What the program wrote.
inline constexpr const char* applicationLog = "application.log";
/// What the collector has to say.
inline constexpr const char* collectorLog = "collector.log";
/// What the front end's command has to say.
inline constexpr const char* commandLog = "command.log";
/// See `standard_dir_t`.
inline constexpr const char* sourceDirectory = "source";
inline constexpr const char* configDirectory = "config";
}  // namespace result_file
/// A project's marker file of this base name gives the project no name: that of the directory does.
inline constexpr const char* unnamedProject = "config";

/// Flags that the library itself heeds; all others are its callers'.
namespace flag_name {
/// No other process can save a node whose flag of this name is claimed.
inline constexpr const char* projectReadOnly = "project_read_only";
}  // namespace flag_name

/// Returns: "data.", which collector data directories are named by, with a number behind it.
VESTA2_API const char* getCollectorDataDirectoryPrefix();
/// Returns: the name of the collector data directory `number`, such as "data.12".
VESTA2_API std::string makeDataFolderName(int number);

/// Returns: the host name as the kernel reports it, without a domain; empty when it does not.
/// Deliberate: no name service is asked, whatever the name of this function says.
VESTA2_API std::string getFQDN();

/// Checks one path component: a node's name, or a name pattern. "." and ".." pass. There is no
/// limit of length. A failure is logged as a warning. Returns: `eOK`; `eEmptyPattern` for null or
/// nothing; `eReservedCharacters` for one of < > : " / \ | ? *; `eInvalidLastCharacter` for a
/// trailing dot or space. Status: stays as it is. Never throws. Deliberate: the warning for an
/// empty name carries the text of `eReservedDeviceName`.
VESTA2_API error_t validateFileName(const char* name);

}  // namespace vesta2
