#pragma once
/// What is wrong with a command line, and what was probably meant.

#include <string>
#include <vector>

#include "base/failure.h"
#include "options/options.h"

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace cli {

/// The error for a word that is no command, which may be what others call one of them.
Failure unknownCommand(const std::string& word, const std::vector<CommandEntry>& commands);

/// The error for a command that runs a program, and got none.
Failure missingProgram(const CLI::App& app);

/// What the parser library found, in words of this command. `app` is the root.
Failure wrongUse(const CLI::App& app, const CLI::ParseError& error);

}  // namespace cli
