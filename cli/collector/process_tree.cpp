#include "collector/process_tree.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>

namespace cli {
namespace {

void addTotals(ProcessUsage& sum, const ProcessUsage& usage) {
    sum.cpuNanoseconds += usage.cpuNanoseconds;
    sum.readBytes += usage.readBytes;
    sum.writtenBytes += usage.writtenBytes;
}

/// Children are those of the first thread: it alone starts programs and adopts.
std::vector<pid_t> ownChildren() { return readChildren(::getpid(), 1); }

}  // namespace

ProcessTree::ProcessTree() {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    const std::vector<pid_t> children = ownChildren();
    m_foreign.insert(children.begin(), children.end());
}

ProcessUsage ProcessTree::measure() {
    ProcessUsage sum = m_retired;
    std::vector<pid_t> pending = ownChildren();
    pending.erase(std::remove_if(pending.begin(), pending.end(),
                                 [&](pid_t child) { return m_foreign.count(child) > 0; }),
                  pending.end());
    while (!pending.empty()) {
        const pid_t process = pending.back();
        pending.pop_back();
        // Parent before child: one that is waited for in between is missed once, not counted twice.
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
    sum.readBytes = std::max(sum.readBytes, m_last.readBytes);
    sum.writtenBytes = std::max(sum.writtenBytes, m_last.writtenBytes);
    m_last = sum;
    return sum;
}

bool ProcessTree::retire(pid_t child) {
    if (m_foreign.erase(child) > 0) {
        return false;
    }
    ProcessUsage usage;
    if (readUsage(child, usage)) {
        addTotals(m_retired, usage);
    }
    return true;
}

}  // namespace cli
