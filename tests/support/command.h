#pragma once

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/child_process.h"
#include "support/temp_directory.h"

namespace support {

struct CommandResult {
    /// As a shell tells it: 128 and the signal for a command that was killed.
    int code = -1;
    std::string out;
    std::string err;
};

inline std::ostream& operator<<(std::ostream& out, const CommandResult& result) {
    return out << "code " << result.code << '\n' << result.out << result.err;
}

/// The command as a child process. Every wait is bounded: a command that hangs fails its test.
class Command {
public:
    struct Setting {
        std::string directory;
        /// Beside what every command needs.
        std::vector<std::string> environment{};
        /// On a terminal of its own, this many columns wide; what it prints is then `out` alone.
        int terminalWidth = 0;
        /// Run instead of the command; looked for as a shell does.
        std::string program{};
        /// What it prints before it is of use.
        std::string awaited{};
    };

    Command(const std::vector<std::string>& arguments, const Setting& setting) {
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
            return ::chdir(setting.directory.c_str()) == 0 ? become(words, setting.environment)
                                                           : 127;
        });
        closeEnd(ends[1]);
        awaitOutput(setting.awaited);
    }
    ~Command() {
        closeEnd(m_out);
        closeEnd(m_err);
    }

    /// What has come so far.
    [[nodiscard]] const std::string& output() const { return m_result.out; }
    /// Waits until the standard output stream has brought `text`; throws when it does not.
    void awaitOutput(const std::string& text) {
        while (m_result.out.find(text) == std::string::npos) {
            if (!readSome()) {
                throw std::runtime_error("no '" + text + "' in " + m_result.out);
            }
        }
    }
    /// As if typed at the terminal.
    void type(const std::string& keys) const {
        [[maybe_unused]] const ssize_t written = ::write(m_out, keys.data(), keys.size());
    }
    void send(int signal) const { m_process.send(signal); }
    /// Nobody reads the standard output stream any more.
    void closeOutput() { closeEnd(m_out); }
    /// Waits for the end of the standard output stream and of the command.
    CommandResult finish() {
        while (readSome()) {
        }
        m_result.code = m_process.wait();
        m_result.err = readDescriptor(m_err);
        if (m_result.code < 0) {
            m_result.err += "(does not end)";
        }
        return m_result;
    }

private:
    static void closeEnd(int& end) {
        if (end >= 0) {
            ::close(end);
        }
        end = -1;
    }

    static int openTerminal(int width) {
        const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        const winsize size{24, static_cast<unsigned short>(width), 0, 0};
        if (::grantpt(terminal) != 0 || ::unlockpt(terminal) != 0 ||
            ::ioctl(terminal, TIOCSWINSZ, &size) != 0) {
            throw std::runtime_error("cannot make a terminal");
        }
        return terminal;
    }

    /// Becomes the program. Nothing of the environment reaches it but what it cannot do without.
    static int become(std::vector<std::string> words, std::vector<std::string> environment) {
        for (const char* name : {"PATH", "ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS"}) {
            if (const char* value = ::getenv(name)) {
                environment.push_back(std::string(name) + "=" + value);
            }
        }
        environment.emplace_back("TERM=xterm");
        const auto pointersTo = [](std::vector<std::string>& texts) {
            std::vector<char*> all(texts.size() + 1);
            std::ranges::transform(texts, all.begin(), [](auto& text) { return text.data(); });
            return all;
        };
        ::execvpe(words[0].c_str(), pointersTo(words).data(), pointersTo(environment).data());
        return 127;
    }

    bool readSome() {
        constexpr int patienceMilliseconds = 60'000;
        pollfd stream{m_out, POLLIN, 0};
        if (m_out < 0 || ::poll(&stream, 1, patienceMilliseconds) <= 0) {
            return false;
        }
        std::array<char, 4096> piece{};
        const ssize_t size = ::read(m_out, piece.data(), piece.size());
        m_result.out.append(piece.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
        return size > 0;
    }

    ChildProcess m_process{-1};
    int m_out = -1;
    int m_err = -1;
    CommandResult m_result;
};

}  // namespace support
