#pragma once
/// Where a command line ends that belongs to a program that is to be run.

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace cli {

/// How many of `words`, which stand behind the command's name, are not the program's, word for
/// word: those before "--", and before the first word that is neither an option, nor its value, nor
/// an argument in front of the program. `takesProgram` tells which commands run one.
std::size_t countOwnWords(const CLI::App& root, const std::vector<std::string>& words,
                          const std::function<bool(const CLI::App&)>& takesProgram);

}  // namespace cli
