#include "collector/proc_text.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>

namespace cli {
namespace {

/// Removes the next number from `text`, with the blanks before it.
template <class Number>
bool takeNumber(std::string_view& text, Number& number) {
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
    constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;
    static const auto ticksPerSecond = static_cast<std::uint64_t>(::sysconf(_SC_CLK_TCK));
    return ticks * (nanosecondsPerSecond / ticksPerSecond);
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

}  // namespace

bool parseStatus(std::string_view text, ProcessUsage& usage) {
    // The command's name is free text, but the last ")" ends it.
    const std::size_t nameEnd = text.rfind(") ");
    if (nameEnd == std::string_view::npos || nameEnd + 2 == text.size()) {
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

FileBytes parseFileBytes(std::string_view text) {
    return {parseBytes(text, "rchar:"), parseBytes(text, "wchar:")};
}

void appendProcesses(std::string_view text, std::vector<pid_t>& processes) {
    for (pid_t process = 0; takeNumber(text, process) && process > 0;) {
        processes.push_back(process);
    }
}

}  // namespace cli
