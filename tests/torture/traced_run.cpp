#include "traced_run.h"

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/fs.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>

#include "basekit2/descriptor.h"
#include "broken_calls.h"
#include "support/temp_directory.h"

namespace torture {
namespace {

constexpr unsigned patienceSeconds = 60;
constexpr int notStarted = 125;

namespace fs = std::filesystem;

/// Calls that name their files in the same places and can fail with the same errors. A place is the
/// number of an argument that is a path ("p"), or the descriptor of a directory before a path
/// ("a"), or a descriptor ("d").
struct Group {
    unsigned traits;
    std::string_view places;
    std::map<long, const char*> calls;
};

#define CALL(name) std::pair(SYS_##name, #name)
const std::vector<Group>& groups() {
    constexpr unsigned written = changes | writes | noSpace;
    constexpr unsigned named = changes | names | noSpace;
    static const std::vector<Group> all{
        {tooMany | interrupted, "p0", {CALL(open)}},
        {tooMany | interrupted, "a0", {CALL(openat), CALL(openat2)}},
        {interrupted, "d0", {CALL(readv), CALL(fcntl), CALL(flock)}},
        {interrupted | sized, "d0", {CALL(read), CALL(pread64)}},
        {written | interrupted, "d0", {CALL(writev), CALL(fallocate)}},
        {written | interrupted | sized, "d0", {CALL(write), CALL(pwrite64)}},
        {written, "d2d0", {CALL(copy_file_range)}},
        {written, "d0d1", {CALL(sendfile)}},
        {written, "d0", {CALL(ioctl)}},
        {changes | interrupted, "p0", {CALL(truncate)}},
        {changes | interrupted, "d0", {CALL(ftruncate)}},
        {flushes | noSpace | interrupted, "d0", {CALL(fsync), CALL(fdatasync)}},
        {flushes | noSpace, "d0", {CALL(syncfs)}},
        {0, "p0", {CALL(stat), CALL(lstat), CALL(statfs), CALL(access), CALL(readlink)}},
        {0, "p0", {CALL(chdir)}},
        {0, "d0", {CALL(fstat), CALL(fstatfs), CALL(getdents64)}},
        {0, "a0", {CALL(newfstatat), CALL(statx), CALL(readlinkat)}},
        {0, "a0", {CALL(faccessat), CALL(faccessat2)}},
        {named, "p0", {CALL(mkdir)}},
        {named, "a0", {CALL(mkdirat)}},
        {named, "p0p1", {CALL(rename), CALL(link)}},
        {named, "a0a2", {CALL(renameat), CALL(renameat2), CALL(linkat)}},
        {named, "p1", {CALL(symlink)}},
        {named, "a1", {CALL(symlinkat)}},
        {changes | names, "p0", {CALL(unlink), CALL(rmdir)}},
        {changes | names, "a0", {CALL(unlinkat)}},
        {changes, "p0", {CALL(chmod), CALL(chown)}},
        {changes, "d0", {CALL(fchmod), CALL(fchown)}},
        {changes, "a0", {CALL(fchmodat), CALL(fchownat), CALL(utimensat)}},
    };
    return all;
}
#undef CALL

/// Of a process, by its directory in /proc.
std::string target(const std::string& process, const std::string& link) {
    std::error_code failed;
    return fs::read_symlink(process + link, failed).native();
}

/// Absolute and without "." and ".."; empty when nobody can tell.
std::string resolve(const std::string& process, char kind, const unsigned long long* argument) {
    const int start = kind == 'p' ? AT_FDCWD : static_cast<int>(*argument);
    const std::string from =
        target(process, start == AT_FDCWD ? "cwd" : "fd/" + std::to_string(start));
    if (kind == 'd') {
        return from;
    }
    std::string text;
    std::ifstream memory(process + "mem", std::ios::binary);
    memory.seekg(static_cast<std::streamoff>(argument[kind == 'a' ? 1 : 0]));
    std::getline(memory, text, '\0');
    constexpr std::string_view own = "/proc/self/fd/";
    if (text.rfind(own, 0) == 0) {
        const std::size_t end = std::min(text.find('/', own.size()), text.size());
        const std::string opened = target(process, text.substr(11, end - 11));
        return opened + fs::path(text.substr(end)).lexically_normal().native();
    }
    return text.empty() ? from : (fs::path(from) / text).lexically_normal().native();
}

/// Of the calls that do many things, those that lock, or clone a file.
bool isMeant(long number, unsigned long long command) {
    return number == SYS_fcntl   ? command == F_SETLK || command == F_SETLKW || command == F_GETLK
           : number == SYS_ioctl ? command == FICLONE
                                 : true;
}

/// The call that `thread` is about to make, when it concerns the directory `root` or what is below.
std::optional<FileCall> fileCall(pid_t thread, const user_regs_struct& registers,
                                 const std::string& root) {
    const auto wanted = static_cast<long>(registers.orig_rax);
    const unsigned long long arguments[] = {registers.rdi, registers.rsi, registers.rdx,
                                            registers.r10};
    const auto flags = wanted == SYS_open ? arguments[1] : wanted == SYS_openat ? arguments[2] : 0;
    const unsigned made = (flags & (O_CREAT | O_TRUNC)) != 0 ? changes | names | noSpace : 0U;
    for (const Group& group : groups()) {
        const auto call = group.calls.find(wanted);
        for (std::size_t i = 0; call != group.calls.end() && i < group.places.size(); i += 2) {
            const std::string path =
                resolve("/proc/" + std::to_string(thread) + "/", group.places[i],
                        arguments + (group.places[i + 1] - '0'));
            if ((path + "/").rfind(root + "/", 0) == 0 && isMeant(wanted, arguments[1])) {
                const std::string inner = path == root ? "." : path.substr(root.size() + 1);
                return FileCall{call->second, inner, group.traits | made};
            }
        }
    }
    return std::nullopt;
}

/// Stops the process at the calls that are known, and at no others.
std::vector<sock_filter> makeFilter() {
    std::vector<sock_filter> filter{
        {BPF_LD | BPF_W | BPF_ABS, 0, 0, offsetof(seccomp_data, nr)},
    };
    for (const Group& group : groups()) {
        for (const auto& [number, name] : group.calls) {
            filter.push_back({BPF_JMP | BPF_JEQ | BPF_K, 0, 1, static_cast<unsigned>(number)});
            filter.push_back({BPF_RET | BPF_K, 0, 0, SECCOMP_RET_TRACE});
        }
    }
    filter.push_back({BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW});
    return filter;
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
        m_result.out = support::readDescriptor(m_out.get());
        m_result.err = support::readDescriptor(m_err.get());
        return m_result;
    }

private:
    void start(const std::vector<std::string>& arguments) {
        // Started outside: what the loader does is not the command's work.
        const char* const program = brokenCalls.empty() ? VESTA2_COMMAND : VESTA2_BROKEN_COMMAND;
        std::vector<std::string> words{program, "-C", m_root};
        words.insert(words.end(), arguments.begin(), arguments.end());
        std::vector<char*> pointers;
        for (std::string& word : words) {
            pointers.push_back(word.data());
        }
        pointers.push_back(nullptr);
        std::vector<sock_filter> filter = makeFilter();
        const sock_fprog filtering{static_cast<unsigned short>(filter.size()), filter.data()};
        m_process = ::fork();
        if (m_process == 0) {
            ::dup2(m_out.get(), STDOUT_FILENO);
            ::dup2(m_err.get(), STDERR_FILENO);
            if (::chdir("/") == 0 && ::ptrace(PTRACE_TRACEME, 0, 0, 0) == 0 &&
                ::raise(SIGSTOP) == 0 && ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
                ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filtering) == 0) {
                ::execv(program, pointers.data());
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
        using Kind = Fault::Kind;
        const bool isLasting = m_fault.kind == Kind::lasting || m_fault.kind == Kind::halves;
        const bool isDue = isLasting ? index >= m_fault.call : index == m_fault.call;
        if (m_fault.kind == Kind::nothing || !isDue) {
            return;
        }
        if (m_fault.kind == Kind::kill) {
            ::kill(m_process, SIGKILL);
        } else if (m_fault.kind == Kind::halves) {
            registers.rdx /= call->is(sized) && registers.rdx > 1 ? 2 : 1;
        } else if (std::ranges::count(call->errors(), m_fault.error) != 0) {
            m_result.calls.back().isFailed = true;
            registers.orig_rax = ~0ULL;  // no such call
            registers.rax = static_cast<unsigned long long>(-m_fault.error);
        } else {
            return;
        }
        m_result.isHit = true;
        ::ptrace(PTRACE_SETREGS, thread, 0, &registers);
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

std::vector<int> FileCall::errors() const {
    std::vector<int> possible{EIO, EACCES, ESTALE, ENOMEM};
    for (const auto& [trait, error] : {std::pair{noSpace, ENOSPC},
                                       {noSpace, EDQUOT},
                                       {changes, EROFS},
                                       {tooMany, EMFILE},
                                       {interrupted, EINTR}}) {
        if (is(trait)) {
            possible.push_back(error);
        }
    }
    return possible;
}

TracedRun runTraced(const std::vector<std::string>& arguments, const std::string& root,
                    const Fault& fault) {
    return Tracer(root, fault).run(arguments);
}

}  // namespace torture
