#include "options/line_place.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace cli {
namespace {

/// The option of that name, which a command takes itself or leaves to those above it; null when it
/// takes no value.
const CLI::Option* findValued(const CLI::App* app, const std::string& name) {
    const CLI::Option* option = nullptr;
    for (; app && !option; app = app->get_parent()) {
        option = app->get_option_no_throw(name);
    }
    return option && option->get_items_expected_min() > 0 ? option : nullptr;
}

const CLI::App* findCommand(const CLI::App& app, const std::string& name) {
    const auto found =
        app.get_subcommands([&](const CLI::App* command) { return command->get_name() == name; });
    return found.empty() ? nullptr : found.front();
}

std::vector<const CLI::Option*> argumentsOf(const CLI::App& app) {
    return app.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

}  // namespace

OptionWord optionIn(const CLI::App& command, const std::string& word) {
    if (word[1] == '-') {
        const std::size_t end = word.find('=');
        const CLI::Option* option = findValued(&command, word.substr(0, end));
        return option && end != std::string::npos ? OptionWord{option, word.substr(end + 1)}
                                                  : OptionWord{option};
    }
    // Short options can share a word, and the last of them can have its value in it.
    for (std::size_t at = 1; at < word.size(); ++at) {
        if (const CLI::Option* option = findValued(&command, {'-', word[at]})) {
            return at + 1 < word.size() ? OptionWord{option, word.substr(at + 1)}
                                        : OptionWord{option};
        }
    }
    return {};
}

LinePlace::LinePlace(const CLI::App& root, const std::vector<std::string>& words,
                     const LineHabits& habits)
    : command(&root), own(words.size()) {
    for (std::size_t at = 0; at < words.size(); ++at) {
        const std::string& word = words[at];
        const bool mayBeOption = !isVerbatim && word.size() > 1 && word.front() == '-';
        if (open) {
            given.emplace_back(open, word);
            open = nullptr;
        } else if (mayBeOption && word == "--") {
            isVerbatim = true;
            own = at;
        } else if (mayBeOption && !habits.isArgument(*command, word)) {
            const auto [option, value] = optionIn(*command, word);
            if (value) {
                given.emplace_back(option, *value);
            }
            open = value ? nullptr : option;
        } else if (const CLI::App* named = isVerbatim ? nullptr : findCommand(*command, word)) {
            command = named;
        } else if (const CLI::Option* argument = nextArgument()) {
            if (++argumentCount == argumentsOf(*command).size() && habits.takesProgram(*command)) {
                program = at;
                own = std::min(own, at);
                break;
            }
            given.emplace_back(argument, word);
        }
    }
}

const CLI::Option* LinePlace::nextArgument() const {
    const std::vector<const CLI::Option*> all = argumentsOf(*command);
    if (argumentCount < all.size()) {
        return all[argumentCount];
    }
    return !all.empty() && all.back()->get_items_expected_max() > 1 ? all.back() : nullptr;
}

}  // namespace cli
