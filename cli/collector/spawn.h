#pragma once
/// Starting a program as a shell does.

#include <sys/types.h>

#include <string>
#include <vector>

#include "base/failure.h"
#include "base/signals.h"

namespace cli {

/// A shell's exit code for a killed program is this plus the number of the signal.
inline constexpr int killedBase = 128;

struct SpawnRequest {
    const std::vector<std::string>& command;
    const Signals& signals;
    /// Become the standard streams; negative for those of the collector.
    int output = -1;
    int error = -1;
    /// Whether it gets a process group of its own, and no signal of the collector's.
    bool inOwnGroup = false;
};

/// Starts a program, looked for in PATH, with the signal settings that the collector was started
/// with, in the collector's process group unless told otherwise. Returns 0, or the `errno` value of
/// the failure.
int spawnProgram(const SpawnRequest& request, pid_t& process);

/// What such a failure means, in the words and with the codes of shells.
Failure startFailure(const std::string& program, int error);

}  // namespace cli
