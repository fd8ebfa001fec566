#pragma once
/// What shells ask while a command line is typed.

#include <string>
#include <vector>

#include "options/options.h"

namespace cli {

/// The word in the place of a command by which shells ask. It is in no help.
inline constexpr const char* completionWord = "__complete";

/// Prints what could stand at the cursor: on the first line how the shell is to take it, then a
/// candidate a line, behind a tab what it means. `arguments` are one of
///   words WORD...          the words behind the command's name, the last of them at the cursor
///   line LINE REPLACED     what is typed up to the cursor, as it stands there, and the part of the
///                          word at the cursor that will be replaced: candidates begin with it
/// The first line is "plain", "quote" where a shell must quote candidates, or "program" and, with
/// nothing behind it, the number of the first word that is a program's, or how the line goes on
/// from there. Nothing is written to disk, and no error told.
void complete(const std::vector<std::string>& arguments, const std::vector<CommandEntry>& commands,
              Output& out);

}  // namespace cli
