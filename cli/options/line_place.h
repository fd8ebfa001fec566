#pragma once
/// How far the words of a command line lead, before they are parsed.

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace cli {

/// What a declaration says of words that the parser library cannot be told.
struct LineHabits {
    /// The last argument is a program, and all that follows is the program's.
    std::function<bool(const CLI::App& command)> takesProgram;
    /// The word is an argument though it begins with "-".
    std::function<bool(const CLI::App& command, const std::string& word)> isArgument;
};

/// An option as a word names it, and the value that is in that word.
struct OptionWord {
    const CLI::Option* option = nullptr;  ///< null for one that is unknown or takes no value
    std::optional<std::string> value{};
};
OptionWord optionIn(const CLI::App& command, const std::string& word);

/// Where a command line is behind some words.
struct LinePlace {
    /// `words` stand behind the command's name.
    LinePlace(const CLI::App& root, const std::vector<std::string>& words,
              const LineHabits& habits);

    /// The argument that a word at this place is; null when there is none left.
    [[nodiscard]] const CLI::Option* nextArgument() const;

    const CLI::App* command;
    const CLI::Option* open = nullptr;  ///< the option whose value is missing yet
    bool isVerbatim = false;            ///< behind "--"
    std::size_t argumentCount = 0;
    /// How many words are not the program's, word for word: those before "--", and before the first
    /// that is neither an option, nor its value, nor an argument in front of the program.
    std::size_t own;
    std::optional<std::size_t> program;  ///< which word names the program
    /// The values and arguments, with what they were given for.
    std::vector<std::pair<const CLI::Option*, std::string>> given;
};

}  // namespace cli
