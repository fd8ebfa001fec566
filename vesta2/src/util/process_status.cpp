#include "process_status.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <string>

#include "basekit2/descriptor.h"

namespace vesta2::util {

namespace {

/// Returns 0, or the error that says why the status of a process cannot be read.
int readStatus(int pid, std::string& text) {
    const std::string path = "/proc/" + std::to_string(static_cast<unsigned>(pid)) + "/status";
    const basekit2::descriptor_t file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) {
        return errno;
    }
    std::array<char, 4096> block{};
    for (;;) {
        const ssize_t got = ::read(file.get(), block.data(), block.size());
        if (got == 0) {
            return 0;
        }
        if (got > 0) {
            text.append(block.data(), static_cast<std::size_t>(got));
        } else if (errno != EINTR) {
            return errno;
        }
    }
}

}  // namespace

int parentOf(int pid) {
    std::string status;
    return readStatus(pid, status) == 0 ? readPpid(status) : 0;
}

int readPpid(std::string_view status) {
    constexpr std::string_view key = "\nPPid:";
    const std::string text = '\n' + std::string(status);
    const std::size_t begin = text.find(key);
    const std::size_t digits =
        begin == std::string::npos ? begin : text.find_first_not_of(" \t", begin + key.size());
    int ppid = 0;
    if (digits != std::string::npos) {
        std::from_chars(text.data() + digits, text.data() + text.size(), ppid);
    }
    return ppid;
}

bool hasEnded(int pid, int ppid) {
    if (pid <= 0) {
        return true;
    }
    std::string status;
    switch (readStatus(pid, status)) {
    case 0:
        return readPpid(status) != ppid;
    case ENOENT:
    case ESRCH:
        // A process that is hidden from this user looks like that too.
        return ::kill(pid, 0) != 0 && errno == ESRCH;
    default:
        return false;
    }
}

}  // namespace vesta2::util
