#pragma once
/// The part of the manual page that the declarations of the commands tell.

#include <string>
#include <vector>

#include "options/options.h"

namespace cli {

/// The sections on options and commands, for scdoc. `app` knows all commands, in their order.
std::string manualOf(const CLI::App& app, const std::vector<CommandEntry>& commands);

}  // namespace cli
