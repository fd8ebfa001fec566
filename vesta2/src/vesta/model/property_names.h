#pragma once
/// Sections and keys of a marker file, and the keys of a link file. The properties of results stand
/// with their accessors.

namespace vesta2 {

inline constexpr const char* vestaSection = "vesta";

inline constexpr const char* timestampKey = "timestamp";
inline constexpr const char* hostnameKey = "hostname";
inline constexpr const char* osKey = "os";
inline constexpr const char* productKey = "product";
inline constexpr const char* buildNumberKey = "buildNumber";
inline constexpr const char* logicalCpuCountKey = "logicalCPUCount";
inline constexpr const char* cpuFrequencyKey = "CPUFrequency";
inline constexpr const char* mpiRankKey = "mpirank";
inline constexpr const char* outputDirectoryKey = "outputDirectory";
inline constexpr const char* backlinkKey = "backlink";

}  // namespace vesta2
