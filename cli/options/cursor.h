#pragma once
/// What the declarations say of the word at the cursor.

#include <string>
#include <vector>

#include "options/options.h"

namespace cli {

class Parser;

/// As `cursorBehind`, of the root that has been declared for `words`.
Cursor cursorAt(const CLI::App& root, const Parser& parser, const std::vector<std::string>& words,
                const std::string& word);

}  // namespace cli
