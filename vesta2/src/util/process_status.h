#pragma once
/// What /proc tells of other processes. Safe from any thread.

#include <string_view>

namespace vesta2::util {

/// The parent in the text of a process's status; 0 when it does not tell.
int readPpid(std::string_view status);

/// The parent of the process `pid`; 0 when it cannot be read.
int parentOf(int pid);

/// Whether the process `pid` whose parent was `ppid` has certainly ended. What cannot be found out,
/// as without descriptors, counts as living.
bool hasEnded(int pid, int ppid);

}  // namespace vesta2::util
