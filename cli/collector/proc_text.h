#pragma once
/// What the texts in /proc say. A text may be cut or damaged; numbers that do not fit are none.

#include <string_view>
#include <vector>

#include "collector/proc_files.h"

namespace cli {

/// Takes times, threads and memory from /proc/PID/stat into `usage`. False when a field is missing.
bool parseStatus(std::string_view text, ProcessUsage& usage);

/// What /proc/PID/io tells; 0 where it does not.
FileBytes parseFileBytes(std::string_view text);

/// Appends the processes or threads that `text` names at its beginning, between blanks.
void appendProcesses(std::string_view text, std::vector<pid_t>& processes);

}  // namespace cli
