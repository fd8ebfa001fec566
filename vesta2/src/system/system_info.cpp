#include "vesta2/system_info.h"

#include <unistd.h>

#include <fstream>
#include <mutex>

#include "cpu_info.h"

namespace vesta2 {
namespace {

std::mutex& s_mutex = *new std::mutex();
CpuInfo s_info;
std::uint32_t s_cpuCount = 0;

constexpr const char* cpuInfoFile = "/proc/cpuinfo";

}  // namespace

SystemInfo::SystemInfo() {
    const std::lock_guard lock(s_mutex);
    if (s_cpuCount != 0 && s_info.frequency != 0) {
        return;
    }
    const long configured = ::sysconf(_SC_NPROCESSORS_CONF);
    s_cpuCount = configured > 0 ? static_cast<std::uint32_t>(configured) : 0;
    if (!init_from_cpuid()) {
        init_from_os();
    }
    if (s_info.frequency == 0) {
        std::ifstream file(cpuInfoFile);
        s_info.frequency = scanCpuFrequency(file);
    }
}

bool SystemInfo::init_from_cpuid() { return false; }

bool SystemInfo::init_from_os() {
    std::ifstream file(cpuInfoFile);
    if (!file) {
        return false;
    }
    scanCpuInfo(file, s_info);
    return true;
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
