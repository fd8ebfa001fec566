#include "collector/proc_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>

#include "basekit2/descriptor.h"
#include "collector/proc_text.h"

namespace cli {
namespace {

using Buffer = std::array<char, 4096>;

/// The file's text as far as one call reads it; empty when it cannot be read. For the files used
/// here one call is enough.
std::string_view readProcFile(const char* path, Buffer& buffer) {
    const basekit2::descriptor_t file(::open(path, O_RDONLY | O_CLOEXEC));
    const ssize_t size = file ? ::read(file.get(), buffer.data(), buffer.size()) : -1;
    return {buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
}

/// More precise than the clock ticks of the status file, by which a sample of 100 ms would be wrong
/// by a fifth.
std::uint64_t ownCpuNanoseconds(pid_t process) {
    clockid_t clock{};
    timespec time{};
    if (::clock_getcpuclockid(process, &clock) != 0 || ::clock_gettime(clock, &time) != 0) {
        return 0;
    }
    constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;
    return static_cast<std::uint64_t>(time.tv_sec) * nanosecondsPerSecond +
           static_cast<std::uint64_t>(time.tv_nsec);
}

void appendChildren(pid_t process, pid_t thread, std::vector<pid_t>& children) {
    std::array<char, 64> path{};
    *fmt::format_to(path.data(), "/proc/{}/task/{}/children", process, thread) = '\0';
    const basekit2::descriptor_t file(::open(path.data(), O_RDONLY | O_CLOEXEC));
    Buffer buffer;
    std::string text;
    ssize_t size = 0;
    while (file && (size = ::read(file.get(), buffer.data(), buffer.size())) > 0) {
        text.append(buffer.data(), static_cast<std::size_t>(size));
    }
    appendProcesses(text, children);
}

struct CloseDirectory {
    void operator()(DIR* directory) const { ::closedir(directory); }
};

}  // namespace

bool readUsage(pid_t process, ProcessUsage& usage) {
    Buffer buffer;
    std::array<char, 64> path{};
    *fmt::format_to(path.data(), "/proc/{}/stat", process) = '\0';
    if (!parseStatus(readProcFile(path.data(), buffer), usage)) {
        return false;
    }
    usage.cpuNanoseconds += ownCpuNanoseconds(process);
    *fmt::format_to(path.data(), "/proc/{}/io", process) = '\0';
    usage.bytes = parseFileBytes(readProcFile(path.data(), buffer));
    return true;
}

FileBytes readOwnBytes() {
    Buffer buffer;
    const std::string_view text = readProcFile("/proc/self/io", buffer);
    FileBytes bytes = parseFileBytes(text);
    bytes.read += text.size();
    return bytes;
}

std::vector<pid_t> readChildren(pid_t process, std::uint32_t threads) {
    std::vector<pid_t> children;
    if (threads <= 1) {
        appendChildren(process, process, children);
        return children;
    }
    const std::unique_ptr<DIR, CloseDirectory> tasks(
        ::opendir(fmt::format("/proc/{}/task", process).c_str()));
    std::vector<pid_t> ids;
    for (const dirent* entry = tasks ? ::readdir(tasks.get()) : nullptr; entry;
         entry = ::readdir(tasks.get())) {
        appendProcesses(entry->d_name, ids);
    }
    for (const pid_t thread : ids) {
        appendChildren(process, thread, children);
    }
    return children;
}

}  // namespace cli
