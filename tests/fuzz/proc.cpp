#include <unistd.h>

#include <sstream>

#include "collector/proc_text.h"
#include "fuzz.h"
#include "system/cpu_info.h"
#include "util/process_status.h"

/// Any text may be there; and whatever a program or a processor calls itself, its numbers are read.
void fuzz::judge(std::string_view input) {
    const std::string text(input);
    cli::ProcessUsage usage;
    cli::parseStatus(text, usage);
    cli::parseFileBytes(text);
    vesta2::util::readPpid(text);
    std::vector<pid_t> processes{1};
    cli::appendProcesses(text, processes);
    require(*std::min_element(processes.begin(), processes.end()) > 0);
    vesta2::CpuInfo info;
    std::istringstream all(text);
    std::istringstream again(text);
    vesta2::scanCpuInfo(all, info);
    require(std::max(info.frequency, vesta2::scanCpuFrequency(again)) <= std::uint64_t(1e18));

    const auto small = takeNumber<std::uint16_t>(input);
    const std::uint64_t great = takeNumber<std::uint32_t>(input);
    std::ostringstream stat;
    stat << "1 (" << input << ") S 1 1 1 0 -1 4194560 1 2 3 4 5 6 " << great << " 7 20 0 " << small
         << " 0 100 200 " << great << " 300\n";
    usage = {};
    const auto pageSize = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    const auto ticksPerSecond = static_cast<std::uint64_t>(::sysconf(_SC_CLK_TCK));
    require(cli::parseStatus(stat.str(), usage) && usage.threads == small &&
            usage.residentBytes == great * pageSize &&
            usage.cpuNanoseconds == (great + 7) * std::uint64_t(1e9) / ticksPerSecond);
    const std::string name = takeLine(input, 90);
    std::ostringstream status;
    status << "Name:\t" << name << "\nUmask:\t0022\nPPid:\t" << small << "\nTracerPid:\t0\n";
    require(vesta2::util::readPpid(status.str()) == small);
    std::istringstream model("model name\t: " + name + ' ' + std::to_string(small) + "MHz\n");
    require(vesta2::scanCpuFrequency(model) == small * std::uint64_t(1e6));
}
