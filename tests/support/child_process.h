#pragma once
/// A child process that runs a function of the test. Every wait for it is bounded.

#include <gtest/gtest.h>
#include <sys/types.h>
#include <unistd.h>

#include <chrono>
#include <functional>

namespace support {

/// Killed at the end of its scope.
class ChildProcess {
public:
    /// Ends with what `body` returns, or with 1 after an exception, and with its parent thread at
    /// the latest. `fork` may be another way to make a process.
    explicit ChildProcess(const std::function<int()>& body, pid_t (*fork)() = ::fork);
    /// Takes over a child that was started otherwise.
    explicit ChildProcess(pid_t pid) : m_pid(pid) {}
    ~ChildProcess() { kill(); }
    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&& other) noexcept;

    /// -1 once it has been waited for.
    [[nodiscard]] pid_t pid() const { return m_pid; }
    void send(int signal) const;
    /// Returns false once it has ended; it is not reaped by that.
    [[nodiscard]] bool isRunning() const;
    /// Waits for its end and returns its exit code as a shell tells it, which is 128 and the signal
    /// for a child that was killed. One that does not end in time is killed, and gives -1.
    int wait(std::chrono::seconds patience = std::chrono::seconds(300));
    /// Returns when it has ended.
    void kill();

private:
    pid_t m_pid;
};

/// Runs `body` in a child process and returns its exit code.
inline int runInChild(const std::function<int()>& body) { return ChildProcess(body).wait(); }

/// Runs `check` in a child process. It returns 0, or 1 after an exception or an expectation that
/// was not met there, unless `check` ends the child with another code.
inline int checkInChild(const std::function<void()>& check) {
    return runInChild([&check] {
        check();
        return testing::Test::HasFailure() ? 1 : 0;
    });
}

}  // namespace support
