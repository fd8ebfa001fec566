#include "vesta2/system_info.h"

#include <unistd.h>

#include <mutex>
#include <optional>
#include <sstream>
#include <string>

#include "basekit2/files.h"
#include "cpu_info.h"

namespace vesta2 {
namespace {

std::mutex& s_mutex = *new std::mutex();
CpuInfo s_info;
std::uint32_t s_cpuCount = 0;

/// What the kernel tells of its processors; nothing when it does not.
std::optional<std::istringstream> openCpuInfo() {
    constexpr std::size_t enough = std::size_t{64} << 20;
    std::string text;
    return basekit2::read_file("/proc/cpuinfo", enough, text)
               ? std::optional<std::istringstream>(text)
               : std::nullopt;
}

/// To be called with the mutex held.
bool gatherFromOs() {
    std::optional<std::istringstream> text = openCpuInfo();
    if (text) {
        scanCpuInfo(*text, s_info);
    }
    return text.has_value();
}

}  // namespace

SystemInfo::SystemInfo() {
    const std::lock_guard lock(s_mutex);
    if (s_cpuCount != 0 && s_info.frequency != 0) {
        return;
    }
    const long configured = ::sysconf(_SC_NPROCESSORS_CONF);
    s_cpuCount = configured > 0 ? static_cast<std::uint32_t>(configured) : 0;
    if (!init_from_cpuid()) {
        gatherFromOs();
    }
    std::optional<std::istringstream> text;
    if (s_info.frequency == 0 && (text = openCpuInfo())) {
        s_info.frequency = scanCpuFrequency(*text);
    }
}

bool SystemInfo::init_from_cpuid() { return false; }

bool SystemInfo::init_from_os() {
    const std::lock_guard lock(s_mutex);
    return gatherFromOs();
}

std::uint32_t SystemInfo::cpuCount() {
    const std::lock_guard lock(s_mutex);
    return s_cpuCount;
}

std::uint64_t SystemInfo::cpuFrequency() {
    const std::lock_guard lock(s_mutex);
    return s_info.frequency;
}

SystemInfo::IsaExtensions SystemInfo::mmxMax() { return static_cast<IsaExtensions>(getIsa().mmx); }

SystemInfo::IsaExtensions SystemInfo::sseMax() { return static_cast<IsaExtensions>(getIsa().sse); }

SystemInfo::IsaExtensions SystemInfo::avxMax() { return static_cast<IsaExtensions>(getIsa().avx); }

SystemInfo::IsaInfo SystemInfo::getIsa() {
    const std::lock_guard lock(s_mutex);
    return s_info.isa;
}

int SystemInfo::get_max_vector_length() {
    const std::lock_guard lock(s_mutex);
    return s_info.maxVectorLength;
}

}  // namespace vesta2
