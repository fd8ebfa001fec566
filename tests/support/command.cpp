#include "support/command.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <stdexcept>

namespace support {
namespace {

constexpr int patienceMilliseconds = 60'000;

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> all;
    all.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        all.push_back(text.data());
    }
    all.push_back(nullptr);
    return all;
}

void closeEnd(int& end) {
    if (end >= 0) {
        ::close(end);
    }
    end = -1;
}

}  // namespace

Command::Command(const std::vector<std::string>& arguments, const Setting& setting) {
    std::vector<std::string> words{setting.program.empty() ? VESTA2_COMMAND : setting.program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> environment = setting.environment;
    for (const char* name : {"PATH", "ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS"}) {
        if (const char* value = ::getenv(name)) {
            environment.push_back(std::string(name) + "=" + value);
        }
    }
    environment.emplace_back("TERM=xterm");

    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addchdir_np(&actions, setting.directory.c_str());
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    std::array<int, 2> ends{-1, -1};
    if (setting.terminalWidth > 0) {
        m_out = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        ::grantpt(m_out);
        ::unlockpt(m_out);
        const winsize size{24, static_cast<unsigned short>(setting.terminalWidth), 0, 0};
        ::ioctl(m_out, TIOCSWINSZ, &size);
        ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
        // The first terminal that the leader of a new session opens becomes its own.
        ::posix_spawn_file_actions_addopen(&actions, 0, ::ptsname(m_out), O_RDWR, 0);
        ::posix_spawn_file_actions_adddup2(&actions, 0, 1);
        ::posix_spawn_file_actions_adddup2(&actions, 0, 2);
    } else {
        std::array<int, 2> out{};
        std::array<int, 2> err{};
        if (::pipe2(out.data(), O_CLOEXEC) != 0 || ::pipe2(err.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("cannot make a pipe");
        }
        m_out = out[0];
        m_err = err[0];
        ends = {out[1], err[1]};
        ::posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_adddup2(&actions, ends[0], 1);
        ::posix_spawn_file_actions_adddup2(&actions, ends[1], 2);
        if (!setting.output.empty()) {
            ::posix_spawn_file_actions_addopen(&actions, 1, setting.output.c_str(), O_WRONLY, 0);
        }
    }
    pid_t process = -1;
    const int error = ::posix_spawnp(&process, words.front().c_str(), &actions, &attributes,
                                     pointers(words).data(), pointers(environment).data());
    ::posix_spawn_file_actions_destroy(&actions);
    ::posix_spawnattr_destroy(&attributes);
    closeEnd(ends[0]);
    closeEnd(ends[1]);
    if (error != 0) {
        throw std::runtime_error("cannot start " + words.front());
    }
    m_process = ChildProcess(process);
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
