#include "traced_run.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <set>
#include <system_error>

#include "basekit2/descriptor.h"

namespace torture {
namespace {

constexpr unsigned patienceSeconds = 60;
constexpr int notStarted = 125;

/// Stops the process at the calls that are known, and at no others.
std::vector<sock_filter> makeFilter() {
    std::vector<sock_filter> filter{
        {BPF_LD | BPF_W | BPF_ABS, 0, 0, offsetof(seccomp_data, nr)},
    };
    for (const unsigned number : fileCallNumbers()) {
        filter.push_back({BPF_JMP | BPF_JEQ | BPF_K, 0, 1, number});
        filter.push_back({BPF_RET | BPF_K, 0, 0, SECCOMP_RET_TRACE});
    }
    filter.push_back({BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW});
    return filter;
}

std::string contents(int file) {
    std::string text(static_cast<std::size_t>(::lseek(file, 0, SEEK_END)), '\0');
    [[maybe_unused]] const ssize_t got = ::pread(file, text.data(), text.size(), 0);
    return text;
}

class Tracer {
public:
    Tracer(const std::string& root, const Fault& fault) : m_root(root), m_fault(fault) {}

    TracedRun run(const std::vector<std::string>& arguments) {
        start(arguments);
        struct sigaction interrupt {};
        interrupt.sa_handler = [](int) {};
        ::sigaction(SIGALRM, &interrupt, nullptr);
        ::alarm(patienceSeconds);
        int status = 0;
        for (pid_t thread = 0; (thread = ::waitpid(-1, &status, __WALL)) > 0 || errno == EINTR;) {
            if (thread < 0) {
                ::kill(m_process, SIGKILL);
            } else if (WIFSTOPPED(status)) {
                proceed(thread, status);
            } else if (thread == m_process && ::alarm(0) > 0) {
                // In time, or the code stays as it is.
                m_result.code = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
            }
        }
        ::alarm(0);
        m_result.out = contents(m_out.get());
        m_result.err = contents(m_err.get());
        return m_result;
    }

private:
    void start(const std::vector<std::string>& arguments) {
        // Started outside: what the loader does is not the command's work.
        std::vector<std::string> words{VESTA2_COMMAND, "-C", m_root};
        words.insert(words.end(), arguments.begin(), arguments.end());
        std::vector<char*> pointers;
        for (std::string& word : words) {
            pointers.push_back(word.data());
        }
        pointers.push_back(nullptr);
        std::vector<sock_filter> filter = makeFilter();
        const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
        m_process = ::fork();
        if (m_process == 0) {
            ::dup2(m_out.get(), STDOUT_FILENO);
            ::dup2(m_err.get(), STDERR_FILENO);
            if (::chdir("/") == 0 && ::ptrace(PTRACE_TRACEME, 0, 0, 0) == 0 &&
                ::raise(SIGSTOP) == 0 && ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
                ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0) {
                ::execv(VESTA2_COMMAND, pointers.data());
            }
            ::_exit(notStarted);
        }
        int status = 0;
        constexpr long options = PTRACE_O_EXITKILL | PTRACE_O_TRACESECCOMP | PTRACE_O_TRACEEXEC |
                                 PTRACE_O_TRACECLONE | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK;
        if (::waitpid(m_process, &status, __WALL) < 0 || !WIFSTOPPED(status) ||
            ::ptrace(PTRACE_SETOPTIONS, m_process, 0, options) != 0) {
            throw std::system_error(errno, std::generic_category(), "cannot trace");
        }
        ::ptrace(PTRACE_CONT, m_process, 0, 0);
    }

    /// Lets a thread go on from where it stopped.
    void proceed(pid_t thread, int status) {
        const int event = status >> 16;
        if (event == PTRACE_EVENT_SECCOMP) {
            meet(thread);
        } else if (event == PTRACE_EVENT_EXEC && thread != m_process) {
            m_foreign.insert(thread);
        }
        const bool isSignal = event == 0 && WSTOPSIG(status) != SIGSTOP;
        ::ptrace(PTRACE_CONT, thread, 0, isSignal ? WSTOPSIG(status) : 0);
    }

    /// Lets the call happen, or not. What a program that the command runs does is its own affair.
    void meet(pid_t thread) {
        user_regs_struct registers{};
        if (m_foreign.count(thread) != 0 || ::ptrace(PTRACE_GETREGS, thread, 0, &registers) != 0) {
            return;
        }
        const std::optional<FileCall> call = fileCall(thread, registers, m_root);
        if (!call) {
            return;
        }
        const std::size_t index = m_result.calls.size();
        m_result.calls.push_back(*call);
        const bool isDue =
            m_fault.kind == Fault::Kind::lasting ? index >= m_fault.call : index == m_fault.call;
        if (m_fault.kind == Fault::Kind::nothing || !isDue) {
            return;
        }
        if (m_fault.kind == Fault::Kind::kill) {
            m_result.isHit = true;
            ::kill(m_process, SIGKILL);
        } else if (std::ranges::count(call->errors(), m_fault.error) != 0) {
            m_result.isHit = true;
            m_result.calls.back().isFailed = true;
            registers.orig_rax = ~0ULL;  // no such call
            registers.rax = static_cast<unsigned long long>(-m_fault.error);
            ::ptrace(PTRACE_SETREGS, thread, 0, &registers);
        }
    }

    const std::string& m_root;
    const Fault& m_fault;
    basekit2::descriptor_t m_out{::memfd_create("out", MFD_CLOEXEC)};
    basekit2::descriptor_t m_err{::memfd_create("err", MFD_CLOEXEC)};
    pid_t m_process = -1;
    std::set<pid_t> m_foreign;  ///< those that run another program
    TracedRun m_result;
};

}  // namespace

TracedRun runTraced(const std::vector<std::string>& arguments, const std::string& root,
                    const Fault& fault) {
    return Tracer(root, fault).run(arguments);
}

}  // namespace torture
