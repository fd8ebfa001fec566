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

/// Extension of a result's marker file: ".zentor".
VESTA2_API const char* getResultExtension();
/// Extension of a project's marker file: ".zentorproj".
VESTA2_API const char* getProjectExtension();
/// Extension of an experiment's marker file: ".zentorexp".
VESTA2_API const char* getExperimentExtension();

VESTA2_API std::string resultMarkerFileExt();
VESTA2_API std::string projectMarkerFileExt();
VESTA2_API std::string experimentMarkerFileExt();

/// "link": what a marker extension is followed by in the name of a link file.
VESTA2_API std::string linkSuffix();
VESTA2_API std::string resultLinkExt();
VESTA2_API std::string projectLinkExt();
VESTA2_API std::string experimentLinkExt();

/// Extension of a flag's lock file, ".dflgzentor", and of its information file, ".infozentor".
/// Deliberate: here the short name comes last.
VESTA2_API const char* getFlagLockExtension();
VESTA2_API const char* getFlagInfoExtension();
/// Wildcard patterns that match both files of every flag: they claim the directory that they lie
/// in, and no copy of it. Lifetime: the process.
VESTA2_API basekit2::string_span_t flagFilePatterns();

/// Empty files in a result's directory that tell its state.
namespace mark {
inline constexpr const char* finalized = ".norun";
inline constexpr const char* invalid = ".bad";
}  // namespace mark
/// What the name of a result's directory is followed by when the result is marked invalid.
inline constexpr const char* invalidSuffix = "-bad";

/// Names of files and directories in a result's directory.
namespace result_file {
inline constexpr const char* applicationLog = "application.log";
inline constexpr const char* collectorLog = "collector.log";
inline constexpr const char* commandLog = "command.log";
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

/// "data.": collector data directories are named by it and a number.
VESTA2_API const char* getCollectorDataDirectoryPrefix();
/// The name of the collector data directory `number`, such as "data.12".
VESTA2_API std::string makeDataFolderName(int number);

/// The host name as the kernel reports it, without a domain; empty when it does not.
VESTA2_API std::string getFQDN();

/// Checks one path component: a node's name, or a name pattern. Returns `eOK`, `eEmptyPattern` for
/// null or nothing, `eReservedCharacters` for one of < > : " / \ | ? *, or `eInvalidLastCharacter`
/// for a trailing dot or space. "." and ".." pass. There is no limit of length. A failure is logged
/// as a warning; the thread's status stays as it is. Never throws.
/// Deliberate: the warning for an empty name carries the text of `eReservedDeviceName`.
VESTA2_API error_t validateFileName(const char* name);

}  // namespace vesta2
