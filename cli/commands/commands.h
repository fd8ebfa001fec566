#pragma once
/// The commands. Each is one source file here, and one line in the table.

#include <vector>

#include "options/options.h"

namespace cli {

/// In the order in which the help lists them.
const std::vector<CommandEntry>& commandTable();

}  // namespace cli
