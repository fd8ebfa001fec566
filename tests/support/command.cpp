#include "support/command.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <stdexcept>
#include <tuple>
#include <utility>

namespace support {
namespace {

constexpr int patienceMilliseconds = 60'000;

void closeEnd(int& end) {
    if (end >= 0) {
        ::close(end);
    }
    end = -1;
}

std::pair<int, int> makePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("cannot make a pipe");
    }
    return {ends[0], ends[1]};
}

int openTerminal(int width) {
    const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    const winsize size{24, static_cast<unsigned short>(width), 0, 0};
    if (::grantpt(terminal) != 0 || ::unlockpt(terminal) != 0 ||
        ::ioctl(terminal, TIOCSWINSZ, &size) != 0) {
        throw std::runtime_error("cannot make a terminal");
    }
    return terminal;
}

/// Becomes the program. Nothing of the environment reaches it but what it cannot do without.
int become(std::vector<std::string> words, std::vector<std::string> environment) {
    for (const char* name : {"PATH", "ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS"}) {
        if (const char* value = ::getenv(name)) {
            environment.push_back(std::string(name) + "=" + value);
        }
    }
    environment.emplace_back("TERM=xterm");
    ::clearenv();
    for (std::string& setting : environment) {
        ::putenv(setting.data());
    }
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    ::execvp(arguments.front(), arguments.data());
    return 127;
}

}  // namespace

Command::Command(const std::vector<std::string>& arguments, const Setting& setting) {
    std::vector<std::string> words{setting.program.empty() ? VESTA2_COMMAND : setting.program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::array<int, 2> streams{-1, -1};
    if (setting.terminalWidth > 0) {
        m_out = openTerminal(setting.terminalWidth);
    } else {
        std::tie(m_out, streams[0]) = makePipe();
        std::tie(m_err, streams[1]) = makePipe();
    }
    m_process = ChildProcess([&] {
        // The first terminal that the leader of a new session opens becomes its own.
        const bool isAlone = setting.terminalWidth > 0 && ::setsid() > 0;
        const int in = ::open(isAlone ? ::ptsname(m_out) : "/dev/null", O_RDWR | O_CLOEXEC);
        ::dup2(in, 0);
        ::dup2(isAlone ? in : streams[0], 1);
        ::dup2(isAlone ? in : streams[1], 2);
        return ::chdir(setting.directory.c_str()) == 0 ? become(words, setting.environment) : 127;
    });
    closeEnd(streams[0]);
    closeEnd(streams[1]);
}

Command::~Command() {
    closeEnd(m_out);
    closeEnd(m_err);
}

bool Command::readSome() {
    std::array<pollfd, 2> streams{pollfd{m_out, POLLIN, 0}, pollfd{m_err, POLLIN, 0}};
    if ((m_out < 0 && m_err < 0) ||
        ::poll(streams.data(), streams.size(), patienceMilliseconds) <= 0) {
        return false;
    }
    const auto take = [](const pollfd& stream, int& end, std::string& text) {
        std::array<char, 4096> piece{};
        const ssize_t size = stream.revents ? ::read(end, piece.data(), piece.size()) : 0;
        if (size > 0) {
            text.append(piece.data(), static_cast<std::size_t>(size));
        } else if (stream.revents) {
            closeEnd(end);
        }
    };
    take(streams[0], m_out, m_result.out);
    take(streams[1], m_err, m_result.err);
    return true;
}

bool Command::awaitOutput(const std::string& text) {
    while (m_result.out.find(text) == std::string::npos) {
        if (!readSome()) {
            return false;
        }
    }
    return true;
}

void Command::type(const std::string& keys) const {
    [[maybe_unused]] const ssize_t written = ::write(m_out, keys.data(), keys.size());
}

void Command::closeOutput() { closeEnd(m_out); }

CommandResult Command::finish() {
    while (readSome()) {
    }
    m_result.code = m_process.wait();
    if (m_result.code < 0) {
        m_result.err += "(does not end)";
    }
    return m_result;
}

CommandResult run(const std::string& directory, const std::vector<std::string>& arguments) {
    return Command(arguments, {directory}).finish();
}

}  // namespace support
