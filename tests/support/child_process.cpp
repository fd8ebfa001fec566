#include "support/child_process.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <utility>

namespace support {
namespace {

int resultOf(const std::function<int()>& body) {
    try {
        return body();
    } catch (const std::exception& e) {
        std::printf("the child fails: %s\n", e.what());
        return 1;
    }
}

bool hasEndedWithin(pid_t pid, std::chrono::milliseconds patience) {
    pollfd end{static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)), POLLIN, 0};
    const bool hasEnded = ::poll(&end, 1, static_cast<int>(patience.count())) > 0;
    ::close(end.fd);
    return hasEnded;
}

}  // namespace

ChildProcess::ChildProcess(const std::function<int()>& body, pid_t (*fork)()) {
    std::fflush(nullptr);
    m_pid = fork();
    if (m_pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int code = resultOf(body);
        std::fflush(nullptr);
        ::_exit(code);
    }
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept : m_pid(std::exchange(other.m_pid, -1)) {}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
    std::swap(m_pid, other.m_pid);
    return *this;
}

void ChildProcess::send(int signal) const {
    if (m_pid > 0) {
        ::kill(m_pid, signal);
    }
}

bool ChildProcess::isRunning() const {
    return m_pid > 0 && !hasEndedWithin(m_pid, std::chrono::milliseconds(0));
}

int ChildProcess::wait(std::chrono::seconds patience) {
    if (m_pid <= 0 || !hasEndedWithin(m_pid, patience)) {
        kill();
        return -1;
    }
    int status = 0;
    ::waitpid(std::exchange(m_pid, -1), &status, 0);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

void ChildProcess::kill() {
    send(SIGKILL);
    if (m_pid > 0) {
        ::waitpid(std::exchange(m_pid, -1), nullptr, 0);
    }
}

}  // namespace support
