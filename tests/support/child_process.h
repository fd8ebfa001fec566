#pragma once
/// A child process that runs a function of the test. Every wait for it is bounded.

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <functional>
#include <utility>

namespace support {

/// Killed at the end of its scope.
class ChildProcess {
public:
    /// Ends with what `body` returns, or with 1 after an exception, and with its parent thread at
    /// the latest. `fork` may be another way to make a process.
    explicit ChildProcess(const std::function<int()>& body, pid_t (*fork)() = ::fork) {
        std::fflush(nullptr);
        m_pid = fork();
        if (m_pid == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            int code = 1;
            try {
                code = body();
            } catch (const std::exception& e) {
                std::printf("the child fails: %s\n", e.what());
            }
            std::fflush(nullptr);
            ::_exit(code);
        }
    }
    /// Takes over a child that was started otherwise.
    explicit ChildProcess(pid_t pid) : m_pid(pid) {}
    ~ChildProcess() { kill(); }
    ChildProcess(ChildProcess&& other) noexcept : m_pid(std::exchange(other.m_pid, -1)) {}
    ChildProcess& operator=(ChildProcess&& other) noexcept {
        std::swap(m_pid, other.m_pid);
        return *this;
    }

    /// -1 once it has been waited for.
    [[nodiscard]] pid_t pid() const { return m_pid; }
    void send(int signal) const {
        if (m_pid > 0) {
            ::kill(m_pid, signal);
        }
    }
    /// Returns false once it has ended; it is not reaped by that.
    [[nodiscard]] bool isRunning() const {
        return m_pid > 0 && !hasEndedWithin(std::chrono::milliseconds(0));
    }
    /// Waits for its end and returns its exit code as a shell tells it, which is 128 and the signal
    /// for a child that was killed. One that does not end in time is killed, and gives -1.
    int wait(std::chrono::seconds patience = std::chrono::seconds(300)) {
        if (m_pid <= 0 || !hasEndedWithin(patience)) {
            kill();
            return -1;
        }
        int status = 0;
        ::waitpid(std::exchange(m_pid, -1), &status, 0);
        return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }
    /// Returns when it has ended.
    void kill() {
        send(SIGKILL);
        if (m_pid > 0) {
            ::waitpid(std::exchange(m_pid, -1), nullptr, 0);
        }
    }

private:
    [[nodiscard]] bool hasEndedWithin(std::chrono::milliseconds patience) const {
        pollfd end{static_cast<int>(::syscall(SYS_pidfd_open, m_pid, 0)), POLLIN, 0};
        const bool hasEnded = ::poll(&end, 1, static_cast<int>(patience.count())) > 0;
        ::close(end.fd);
        return hasEnded;
    }

    pid_t m_pid;
};

/// Runs `body` in a child process and returns its exit code.
inline int runInChild(const std::function<int()>& body) { return ChildProcess(body).wait(); }

/// Runs `check` in a child process, where nothing may be thrown and every expectation be met.
inline void checkInChild(const std::function<void()>& check) {
    const int code = runInChild([&check] {
        check();
        return testing::Test::HasFailure() ? 1 : 0;
    });
    ASSERT_EQ(code, 0) << "see the failures of the child above";
}

}  // namespace support
