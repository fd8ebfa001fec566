#include "collector/proc_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <ctime>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

#include "basekit2/descriptor.h"

namespace cli {
namespace {

constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;

using Buffer = std::array<char, 4096>;

/// The file's text as far as one call reads it; empty when it cannot be read. For the files used
/// here one call is enough.
std::string_view readProcFile(const char* path, Buffer& buffer) {
    const basekit2::descriptor_t file(::open(path, O_RDONLY | O_CLOEXEC));
    const ssize_t size = file ? ::read(file.get(), buffer.data(), buffer.size()) : -1;
    return {buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
}

/// Removes the next number from `text`, with the blanks before it.
bool takeNumber(std::string_view& text, std::uint64_t& number) {
    const std::size_t start = text.find_first_not_of(" \n");
    if (start == std::string_view::npos) {
        return false;
    }
    text.remove_prefix(start);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return error == std::errc();
}

std::uint64_t ticksToNanoseconds(std::uint64_t ticks) {
    static const auto ticksPerSecond = static_cast<std::uint64_t>(::sysconf(_SC_CLK_TCK));
    return ticks * (nanosecondsPerSecond / ticksPerSecond);
}

/// More precise than the clock ticks of the status file, by which a sample of 100 ms would be wrong
/// by a fifth.
std::uint64_t ownCpuNanoseconds(pid_t process) {
    clockid_t clock{};
    timespec time{};
    if (::clock_getcpuclockid(process, &clock) != 0 || ::clock_gettime(clock, &time) != 0) {
        return 0;
    }
    return static_cast<std::uint64_t>(time.tv_sec) * nanosecondsPerSecond +
           static_cast<std::uint64_t>(time.tv_nsec);
}

/// Parses /proc/PID/stat. The command's name is free text, but the last ")" ends it.
bool parseStatus(std::string_view text, ProcessUsage& usage) {
    const std::size_t nameEnd = text.rfind(") ");
    if (nameEnd == std::string_view::npos) {
        return false;
    }
    text.remove_prefix(nameEnd + 2);
    const bool hasEnded = text.front() == 'Z' || text.front() == 'X';
    text.remove_prefix(1);
    // Numbered as in proc(5), whose third field is the state just removed.
    constexpr std::size_t childUserTime = 16, childSystemTime = 17, threadCount = 20, pages = 24;
    for (std::size_t field = 4; field <= pages; ++field) {
        const std::size_t blank = text.find_first_not_of(' ');
        text.remove_prefix(blank == std::string_view::npos ? text.size() : blank);
        std::uint64_t number = 0;
        if (!text.empty() && text.front() == '-') {
            text.remove_prefix(std::min(text.find(' '), text.size()));
        } else if (!takeNumber(text, number)) {
            return false;
        }
        if (field == childUserTime || field == childSystemTime) {
            usage.cpuNanoseconds += ticksToNanoseconds(number);
        } else if (field == threadCount && !hasEnded) {
            usage.threads = static_cast<std::uint32_t>(number);
        } else if (field == pages) {
            static const auto pageSize = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
            usage.residentBytes = number * pageSize;
        }
    }
    return true;
}

/// The number behind `label` in /proc/PID/io.
std::uint64_t parseBytes(std::string_view text, std::string_view label) {
    const std::size_t start = text.find(label);
    std::uint64_t bytes = 0;
    if (start != std::string_view::npos) {
        text.remove_prefix(start + label.size());
        takeNumber(text, bytes);
    }
    return bytes;
}

FileBytes parseFileBytes(std::string_view text) {
    return {parseBytes(text, "rchar:"), parseBytes(text, "wchar:")};
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
    std::string_view rest = text;
    for (std::uint64_t child = 0; takeNumber(rest, child);) {
        children.push_back(static_cast<pid_t>(child));
    }
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
    for (const dirent* entry = tasks ? ::readdir(tasks.get()) : nullptr; entry;
         entry = ::readdir(tasks.get())) {
        std::string_view name = entry->d_name;
        std::uint64_t thread = 0;
        if (takeNumber(name, thread)) {
            appendChildren(process, static_cast<pid_t>(thread), children);
        }
    }
    return children;
}

}  // namespace cli
