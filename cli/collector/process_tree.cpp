#include "collector/process_tree.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

namespace cli {
namespace {

std::uint64_t toNanoseconds(const timeval& time) {
    return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000 +
           static_cast<std::uint64_t>(time.tv_usec) * 1000;
}

void addTotals(ProcessUsage& sum, const ProcessUsage& usage) {
    sum.cpuNanoseconds += usage.cpuNanoseconds;
    sum.bytes.read += usage.bytes.read;
    sum.bytes.written += usage.bytes.written;
}

/// Children are those of the first thread: it alone starts programs and adopts.
std::vector<pid_t> ownChildren() { return readChildren(::getpid(), 1); }

}  // namespace

ProcessTree::ProcessTree(pid_t foreignGroup) : m_foreignGroup(foreignGroup) {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    const std::vector<pid_t> children = ownChildren();
    m_foreign.insert(children.begin(), children.end());
}

bool ProcessTree::isForeign(pid_t child) const {
    return m_foreign.count(child) > 0 || (m_foreignGroup && ::getpgid(child) == m_foreignGroup);
}

ProcessUsage ProcessTree::measure() {
    ProcessUsage sum = m_retired;
    std::vector<pid_t> pending = ownChildren();
    pending.erase(std::remove_if(pending.begin(), pending.end(),
                                 [&](pid_t child) { return isForeign(child); }),
                  pending.end());
    while (!pending.empty()) {
        const pid_t process = pending.back();
        pending.pop_back();
        // Parent before child: a child that is reaped in between is missed once, not counted twice.
        ProcessUsage usage;
        if (readUsage(process, usage)) {
            addTotals(sum, usage);
            sum.residentBytes += usage.residentBytes;
            sum.threads += usage.threads;
            const std::vector<pid_t> children = readChildren(process, usage.threads);
            pending.insert(pending.end(), children.begin(), children.end());
        }
    }
    sum.cpuNanoseconds = std::max(sum.cpuNanoseconds, m_last.cpuNanoseconds);
    sum.bytes.read = std::max(sum.bytes.read, m_last.bytes.read);
    sum.bytes.written = std::max(sum.bytes.written, m_last.bytes.written);
    m_last = sum;
    return sum;
}

bool ProcessTree::reap(Ended& child) {
    // Not everybody may see the bytes of a process that has ended, but waiting for it adds them to
    // those of this one.
    const FileBytes before = readOwnBytes();
    siginfo_t ended{};
    // Its group can be asked as long as it has not been waited for.
    if (::waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) != 0 || ended.si_pid == 0) {
        return false;
    }
    child.isForeign = isForeign(ended.si_pid);
    child.process = ::wait4(ended.si_pid, &child.status, 0, &child.usage);
    m_foreign.erase(child.process);
    if (!child.isForeign) {
        const FileBytes after = readOwnBytes();
        m_retired.cpuNanoseconds +=
            toNanoseconds(child.usage.ru_utime) + toNanoseconds(child.usage.ru_stime);
        m_retired.bytes.read += after.read - before.read;
        m_retired.bytes.written += after.written - before.written;
    }
    return true;
}

}  // namespace cli
