#pragma once
/// The sections and keys of the bags that the library keeps on disk: marker files, link files and
/// the records of flags.
///
/// Constants, safe from any thread. Their texts never change: they are on many disks.

namespace vesta2 {

/// Bags within a marker file.
namespace section {
/// Holds all that the library writes.
inline constexpr const char* vesta = "vesta";
/// Within "vesta": the variables of the node's name.
inline constexpr const char* variables = "variables";
}  // namespace section

/// Keys in the section "vesta". Times are seconds since the Epoch.
namespace property {
// Written when the node is created.
/// When the node was made; uint64.
inline constexpr const char* timestamp = "timestamp";
/// The kernel's host name, without a domain; string.
inline constexpr const char* hostname = "hostname";
/// See `os_name`; string.
inline constexpr const char* os = "os";
/// Short name of the product that made the node; string.
inline constexpr const char* product = "product";
/// Of that product; int32.
inline constexpr const char* buildNumber = "buildNumber";
/// Processors that are configured; int32.
inline constexpr const char* logicalCpuCount = "logicalCPUCount";
/// In Hz, 0 when unknown; int64.
inline constexpr const char* cpuFrequency = "CPUFrequency";
/// Only of what was made under MPI; int32.
inline constexpr const char* mpiRank = "mpirank";

// Where the node is reached, and where its new nodes go.
/// Path of the link file that stands for the node; string.
inline constexpr const char* backlink = "backlink";
/// See `INodeGroup::setOutputDirectory`; string.
inline constexpr const char* outputDirectory = "outputDirectory";

// Of results; see `IResultDirectory`.
/// The command line of the collected program; string.
inline constexpr const char* collectionCommand = "collectionCommand";
/// Times, uint64: of the collection, and of the post-processing.
inline constexpr const char* collectionTimeBegin = "collectionTimeBegin";
/// The end is later, or missing while the collection lasts.
inline constexpr const char* collectionTimeEnd = "collectionTimeEnd";
inline constexpr const char* finalizationTimeBegin = "finalizationTimeBegin";
inline constexpr const char* finalizationTimeEnd = "finalizationTimeEnd";
/// Names or full paths of the logs; strings.
inline constexpr const char* applicationLog = "applicationLog";
inline constexpr const char* collectorLog = "collectorLog";
inline constexpr const char* commandLog = "commandLog";
}  // namespace property

/// Keys of a link file, at its root.
namespace link_key {
/// Path of the marker file.
inline constexpr const char* target = "link";
/// Digest of the marker file, in hexadecimal digits.
inline constexpr const char* checksum = "md5sum";
}  // namespace link_key

/// Keys of the record in a flag's information file, at its root: who claimed the flag, and when.
namespace record_key {
/// When the flag was claimed, in seconds since the Epoch; int64.
inline constexpr const char* timestamp = "timestamp";
/// Of the process that claimed it, and of its parent; uint32.
inline constexpr const char* pid = "pid";
inline constexpr const char* ppid = "ppid";
/// Full host name, and login name of the user; strings.
inline constexpr const char* host = "host";
inline constexpr const char* user = "user";
inline constexpr const char* os = "os";
}  // namespace record_key

/// What "os" says, in marker files and in the records of flags.
namespace os_name {
/// Of every node that this library makes.
inline constexpr const char* ofLinux = "linux";
/// Of nodes that the same product made elsewhere.
inline constexpr const char* ofWindows = "windows";
}  // namespace os_name

}  // namespace vesta2
