#include "support/command.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <stdexcept>

namespace support {
namespace {

constexpr int patienceMilliseconds = 60'000;

void closeEnd(int& end) {
    if (end >= 0) {
        ::close(end);
    }
    end = -1;
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
    std::array<int, 2> ends{-1, -1};
    const bool isAlone = setting.terminalWidth > 0;
    if (!isAlone && ::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("cannot make a pipe");
    }
    m_out = isAlone ? openTerminal(setting.terminalWidth) : ends[0];
    m_err = ::memfd_create("err", MFD_CLOEXEC);
    m_process = ChildProcess([&] {
        // The first terminal that the leader of a new session opens becomes its own.
        if (isAlone) {
            ::setsid();
        }
        const int in = ::open(isAlone ? ::ptsname(m_out) : "/dev/null", O_RDWR | O_CLOEXEC);
        ::dup2(in, 0);
        ::dup2(isAlone ? in : ends[1], 1);
        ::dup2(isAlone ? in : m_err, 2);
        return ::chdir(setting.directory.c_str()) == 0 ? become(words, setting.environment) : 127;
    });
    closeEnd(ends[1]);
}

Command::~Command() {
    closeEnd(m_out);
    closeEnd(m_err);
}

bool Command::readSome() {
    pollfd stream{m_out, POLLIN, 0};
    if (m_out < 0 || ::poll(&stream, 1, patienceMilliseconds) <= 0) {
        return false;
    }
    std::array<char, 4096> piece{};
    const ssize_t size = ::read(m_out, piece.data(), piece.size());
    m_result.out.append(piece.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    return size > 0;
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
    m_result.err.resize(static_cast<std::size_t>(::lseek(m_err, 0, SEEK_END)));
    [[maybe_unused]] const ssize_t got =
        ::pread(m_err, m_result.err.data(), m_result.err.size(), 0);
    if (m_result.code < 0) {
        m_result.err += "(does not end)";
    }
    return m_result;
}

CommandResult run(const std::string& directory, const std::vector<std::string>& arguments) {
    return Command(arguments, {directory}).finish();
}

}  // namespace support
