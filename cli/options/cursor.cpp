#include "options/cursor.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "options/parser.h"

namespace cli {
namespace {

void proposeCommands(Cursor& cursor, const CLI::App& app) {
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        cursor.words.push_back({command->get_name(), command->get_description()});
    }
}

/// Those of the command and of all above it: the long names, and the short ones without any.
void proposeOptions(Cursor& cursor, const CLI::App& command) {
    for (const CLI::App* app = &command; app; app = app->get_parent()) {
        for (const CLI::Option* option : app->get_options()) {
            if (app != &command && option == app->get_version_ptr()) {
                continue;
            }
            const bool isLong = !option->get_lnames().empty();
            for (const std::string& name : isLong ? option->get_lnames() : option->get_snames()) {
                const std::string text = (isLong ? "--" : "-") + name;
                if (std::ranges::find(cursor.words, text, &Proposal::text) == cursor.words.end()) {
                    cursor.words.push_back({text, option->get_description()});
                }
            }
        }
    }
}

void expect(Cursor& cursor, const Expected& expected, std::string value) {
    cursor.stands = expected.stands;
    cursor.value = std::move(value);
    for (const std::string& choice : expected.choices) {
        cursor.words.push_back({cursor.front + choice});
    }
}

}  // namespace

Cursor cursorAt(const CLI::App& root, const Parser& parser, const std::vector<std::string>& words,
                const std::string& word) {
    const LineHabits habits = parser.habits();
    const LinePlace place(root, words, habits);
    const CLI::App& command = *place.command;
    Cursor cursor;
    for (const auto& [option, text] : place.given) {
        if (option == root.get_option_no_throw("-C")) {
            cursor.directory = text;
        } else {
            cursor.given.push_back({parser.expected(option).stands, text});
        }
    }
    std::vector<std::string> all = words;
    all.push_back(word);
    cursor.program = LinePlace(root, all, habits).program;
    if (cursor.program) {
        return cursor;
    }
    const bool isOption = !place.isVerbatim && word.starts_with('-');
    // What begins with "-" may be the beginning of both.
    const bool mayBeArgument = !isOption || habits.isArgument(command, word + "x");
    const OptionWord option = mayBeArgument ? OptionWord() : optionIn(command, word);
    if (place.open) {
        expect(cursor, parser.expected(place.open), word);
    } else if (option.value) {
        cursor.front = word.substr(0, word.size() - option.value->size());
        expect(cursor, parser.expected(option.option), *option.value);
    } else {
        if (isOption) {
            proposeOptions(cursor, command);
        } else if (!place.isVerbatim) {
            proposeCommands(cursor, command);
        }
        const CLI::Option* const argument = place.nextArgument();
        if (argument && mayBeArgument) {
            expect(cursor, parser.expected(argument), word);
        }
    }
    std::erase_if(cursor.words,
                  [&](const Proposal& proposal) { return !proposal.text.starts_with(word); });
    return cursor;
}

}  // namespace cli
