#pragma once
/// The properties of a node, as the command shows and takes them: by the path below the "vesta"
/// section, such as "exitCode" or "variables/user".

#include <string>
#include <string_view>
#include <vector>

#include "basekit2/variant.h"
#include "vesta2/i_node.h"

namespace cli {

/// What `collect` records beside the properties that the library names.
namespace key {
inline constexpr const char* workingDirectory = "workingDirectory";
inline constexpr const char* exitCode = "exitCode";
inline constexpr const char* exitSignal = "exitSignal";
inline constexpr const char* elapsed = "elapsedMicroseconds";
inline constexpr const char* userTime = "userTimeMicroseconds";
inline constexpr const char* systemTime = "systemTimeMicroseconds";
inline constexpr const char* peakMemory = "peakMemoryBytes";
inline constexpr const char* readBytes = "readBytes";
inline constexpr const char* writtenBytes = "writtenBytes";
inline constexpr const char* sampleCount = "sampleCount";
inline constexpr const char* programPath = "programPath";
inline constexpr const char* programDigest = "programDigest";
inline constexpr const char* revision = "revision";
inline constexpr const char* revisionState = "revisionState";
/// A variable's name follows.
inline constexpr const char* environment = "environment/";
inline constexpr const char* limitAddressSpace = "limits/AS";
inline constexpr const char* limitCpu = "limits/CPU";
inline constexpr const char* limitData = "limits/DATA";
inline constexpr const char* limitFileSize = "limits/FSIZE";
inline constexpr const char* limitFiles = "limits/NOFILE";
inline constexpr const char* limitProcesses = "limits/NPROC";
inline constexpr const char* limitStack = "limits/STACK";
inline constexpr const char* limitLocked = "limits/MEMLOCK";
inline constexpr const char* limitCore = "limits/CORE";
// What people say of a result.
inline constexpr const char* tags = "user/tags";  ///< in order, a blank between two
inline constexpr const char* note = "user/note";
inline constexpr const char* pinned = "user/pinned";  ///< "yes": no clean-up deletes it
}  // namespace key

enum class Role {
    fact,
    creation,     ///< written when the node was made, and never changed
    time,         ///< when something happened
    measurement,  ///< differs between two runs of the same program
    remark,       ///< what people say of it
    link,         ///< path of the link file; kept by the library
};

Role roleOf(std::string_view key);
/// Whether the key holds seconds since the Epoch.
bool isTime(std::string_view key);
/// The kind that a known key has even before it is first set; a string for the others.
basekit2::variant_t::kind_t usualKind(std::string_view key);

struct Property {
    std::string key;
    basekit2::variant_t value;
};

/// All properties in the order of the marker file, those of nested bags by their paths.
std::vector<Property> properties(vesta2::INode& node);
/// As `properties`, of the "vesta" section of a marker file.
std::vector<Property> propertiesIn(const basekit2::variant_bag_t& section);

/// A number in decimal, a string as it is.
std::string valueText(const basekit2::variant_t& value);

/// The value, or an empty variant.
basekit2::variant_t getProperty(vesta2::INode& node, const std::string& key);

/// Puts a property in memory; false when the key cannot be one.
bool putProperty(vesta2::INode& node, const std::string& key, const basekit2::variant_t& value);

/// Saves the marker file; raises `Failure` when that does not work.
void saveProperties(vesta2::INode& node);

}  // namespace cli
