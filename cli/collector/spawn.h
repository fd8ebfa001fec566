#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "base/failure.h"
#include "base/signals.h"

namespace cli {

/// What a shell adds to the signal that killed a program.
inline constexpr int killedBase = 128;

struct SpawnRequest {
    const std::vector<std::string>& command;
    const Signals& signals;
    /// Take the place of the standard streams; the collector's own when negative.
    int output = -1;
    int error = -1;
};

/// Starts a program, looked for in PATH, with the signal settings that the collector was started
/// with, in the collector's process group. Returns 0, or the `errno` value of the failure.
int spawnProgram(const SpawnRequest& request, pid_t& process);

/// What such a failure means, in the words and with the codes of shells.
Failure startFailure(const std::string& program, int error);

}  // namespace cli
