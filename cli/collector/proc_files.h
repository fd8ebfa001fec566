#pragma once
/// What the kernel tells of a process in /proc.

#include <sys/types.h>

#include <cstdint>
#include <vector>

namespace cli {

struct ProcessUsage {
    std::uint64_t cpuNanoseconds = 0;  ///< its own, and that of the children that it waited for
    std::uint64_t residentBytes = 0;
    std::uint32_t threads = 0;
    std::uint64_t readBytes =
        0;  ///< through calls, whatever the kind of file; as for the processor
    std::uint64_t writtenBytes = 0;
};

/// False when there is no such process. One that has ended and was not waited for still tells its
/// times and bytes. Bytes stay 0 for a process whose I/O the user may not see.
bool readUsage(pid_t process, ProcessUsage& usage);

/// The children of `process` which has `threads` threads. Incomplete while they come and go.
std::vector<pid_t> readChildren(pid_t process, std::uint32_t threads);

}  // namespace cli
