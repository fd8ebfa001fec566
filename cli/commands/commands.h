#pragma once
/// The commands. Each is one source file here, and one line in the table.

#include <vector>

#include "options.h"

namespace cli {

struct CommandEntry {
    const char* name;
    const char* summary;
    Declaration* declare;
};

/// In the order in which the help lists them.
const std::vector<CommandEntry>& commandTable();

}  // namespace cli
