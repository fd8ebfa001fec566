#include "options/own_words.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace cli {
namespace {

/// The option of that name, which a command takes itself or leaves to those above it.
const CLI::Option* findOption(const CLI::App* app, const std::string& name) {
    const CLI::Option* option = nullptr;
    for (; app && !option; app = app->get_parent()) {
        option = app->get_option_no_throw(name);
    }
    return option;
}

bool takesValue(const CLI::App* app, const std::string& name) {
    const CLI::Option* option = findOption(app, name);
    return option && option->get_items_expected_min() > 0;
}

/// Whether `word`, which begins with "-", leaves its value to the word behind it.
bool wantsNextWord(const CLI::App* app, const std::string& word) {
    if (word[1] == '-') {
        return takesValue(app, word);
    }
    // Short options can share a word, and the last of them can have its value in it.
    for (std::size_t at = 1; at < word.size(); ++at) {
        if (takesValue(app, {'-', word[at]})) {
            return at + 1 == word.size();
        }
    }
    return false;
}

const CLI::App* findCommand(const CLI::App& app, const std::string& name) {
    const auto found =
        app.get_subcommands([&](const CLI::App* command) { return command->get_name() == name; });
    return found.empty() ? nullptr : found.front();
}

std::size_t countArguments(const CLI::App& app) {
    return app.get_options([](const CLI::Option* option) { return option->get_positional(); })
        .size();
}

}  // namespace

std::size_t countOwnWords(const CLI::App& root, const std::vector<std::string>& words,
                          const std::function<bool(const CLI::App&)>& takesProgram) {
    const CLI::App* app = &root;
    std::size_t arguments = 0;
    std::size_t at = 0;
    for (; at < words.size() && words[at] != "--"; ++at) {
        const std::string& word = words[at];
        if (word.size() > 1 && word.front() == '-') {
            at += wantsNextWord(app, word) ? 1 : 0;
        } else if (const CLI::App* command = findCommand(*app, word)) {
            app = command;
        } else if (takesProgram(*app) && ++arguments == countArguments(*app)) {
            break;
        }
    }
    return std::min(at, words.size());
}

}  // namespace cli
