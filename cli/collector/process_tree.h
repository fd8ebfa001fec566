#pragma once
/// The program that is collected and everything that it starts.

#include <sys/resource.h>
#include <sys/types.h>

#include <set>

#include "collector/proc_files.h"

namespace cli {

/// Adds up the descendants of this process. For that, descendants whose parents end must come back
/// to this process: making the object sees to it.
class ProcessTree {
public:
    /// Children that this process has already, by inheritance, never count.
    ProcessTree();

    /// The sum over the living, and what has ended so far. Never goes back in time and bytes.
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
    std::set<pid_t> m_foreign;
    ProcessUsage m_retired;
    ProcessUsage m_last;
};

}  // namespace cli
