#pragma once
/// Resource use of the collected program and of all that it starts.

#include <sys/resource.h>
#include <sys/types.h>

#include <set>

#include "collector/proc_files.h"

namespace cli {

/// Adds up the descendants of this process. The constructor makes this process a child subreaper:
/// descendants whose parents end become its children.
class ProcessTree {
public:
    /// Children that this process has already never count, nor do those in the process group
    /// `foreignGroup`, unless it is 0: theirs can become this process's.
    explicit ProcessTree(pid_t foreignGroup);

    /// The sum over the running and the ended processes. Times and bytes never decrease.
    ProcessUsage measure();
    struct Ended {
        pid_t process = 0;
        int status = 0;
        rusage usage{};
        bool isForeign = false;
    };
    /// Waits for a child that has ended, and takes its final figures. False when there is none.
    bool reap(Ended& child);

private:
    [[nodiscard]] bool isForeign(pid_t child) const;

    pid_t m_foreignGroup;
    std::set<pid_t> m_foreign;
    ProcessUsage m_retired;
    ProcessUsage m_last;
};

}  // namespace cli
