#pragma once
/// What the kernel tells of a process in /proc.

#include <sys/types.h>

#include <cstdint>
#include <vector>

namespace cli {

/// Through read and write calls, whatever the kind of file.
struct FileBytes {
    std::uint64_t read = 0;
    std::uint64_t written = 0;
};

/// Times and bytes are a process's own and those of the children that it waited for.
struct ProcessUsage {
    std::uint64_t cpuNanoseconds = 0;
    std::uint64_t residentBytes = 0;
    std::uint32_t threads = 0;
    FileBytes bytes;
};

/// False when there is no such process. The bytes are 0 where the user may not see them: those of a
/// program with other privileges, and of one that has ended and was not waited for.
bool readUsage(pid_t process, ProcessUsage& usage);

/// The bytes of this process, with those that reading them costs.
FileBytes readOwnBytes();

/// The children of `process` which has `threads` threads. Incomplete while they come and go.
std::vector<pid_t> readChildren(pid_t process, std::uint32_t threads);

}  // namespace cli
