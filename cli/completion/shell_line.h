#pragma once
/// The words of a line that is being typed into a POSIX shell.

#include <string>
#include <string_view>
#include <vector>

namespace cli {

/// What stands for itself once the shell has taken the quotes away. Nothing is expanded; a quote
/// that is open ends at the end of the line. The last word is the one at the cursor, which may be
/// empty.
struct ShellLine {
    explicit ShellLine(std::string_view line);

    struct Word {
        std::string text;
        std::size_t begin;  ///< where it is in the line
    };
    std::vector<Word> words;
};

}  // namespace cli
