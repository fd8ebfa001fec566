#include "options/manual.h"

#include <CLI/CLI.hpp>

#include "base/text.h"
#include "options/parser.h"

namespace cli {
namespace {

std::string escaped(std::string_view text) {
    std::string safe;
    for (const char character : text) {
        if (std::string_view("\\*_`<>#").find(character) != std::string_view::npos) {
            safe += '\\';
        }
        safe += character;
    }
    return safe;
}

std::string bold(const std::string& text) { return "*" + escaped(text) + "*"; }
std::string underlined(const std::string& text) { return "_" + escaped(text) + "_"; }

bool isRepeatable(const CLI::Option& option) {
    return option.get_items_expected_max() >= CLI::detail::expected_max_vector_size;
}

/// "*--name* _PATTERN_"; of an argument "_NODE_".
std::string spelling(const CLI::Option& option, const std::vector<std::string>& names) {
    if (option.get_positional()) {
        return underlined(option.get_name(true));
    }
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ", ") + bold(name);
    }
    const bool isFlag = option.get_items_expected_min() == 0;
    return isFlag ? text : text + " " + underlined(option.get_option_text());
}

std::vector<std::string> namesOf(const CLI::Option& option) {
    return CLI::detail::split(option.get_name(false, true), ',');
}

std::string usage(const CLI::Option& option) {
    const std::string text = spelling(option, {namesOf(option).front()});
    return (option.get_required() ? text : "[" + text + "]") + (isRepeatable(option) ? "..." : "");
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& app, bool isPositional) {
    return app.get_options([&](const CLI::Option* option) {
        return option != app.get_help_ptr() && option->get_positional() == isPositional;
    });
}

/// Each with what it is for.
std::string described(const std::vector<const CLI::Option*>& options) {
    std::string text;
    for (const CLI::Option* option : options) {
        text += spelling(*option, namesOf(*option)) + "\n\t" + escaped(option->get_description()) +
                "\n\n";
    }
    return text;
}

/// How a command is written and what it takes, or those below it.
std::string syntaxOf(const CLI::App& app) {
    const auto below = app.get_subcommands([](const CLI::App*) { return true; });
    if (!below.empty()) {
        std::string text;
        for (const CLI::App* command : below) {
            text += syntaxOf(*command);
        }
        return text;
    }
    std::string text = bold(fullName(app));
    for (const bool isPositional : {false, true}) {
        for (const CLI::Option* option : optionsOf(app, isPositional)) {
            text += " " + usage(*option);
        }
    }
    const bool isOneOfSeveral = app.get_parent()->get_parent() != nullptr;
    return text + "\n\n" +
           (isOneOfSeveral ? escaped(asSentence(app.get_description())) + "\n\n" : "") +
           described(optionsOf(app, true)) + described(optionsOf(app, false));
}

std::string paragraphs(std::string_view text) {
    std::string result;
    for (const std::string& line : CLI::detail::split(std::string(text), '\n')) {
        result += escaped(line) + "\n\n";
    }
    return result;
}

}  // namespace

std::string manualOf(const CLI::App& app, const std::vector<CommandEntry>& commands) {
    std::string text = "# OPTIONS\n\n" + described(optionsOf(app, false)) + "# COMMANDS\n\n";
    for (const CommandEntry& entry : commands) {
        const auto found = app.get_subcommands(
            [&](const CLI::App* command) { return command->get_name() == entry.name; });
        text += "## " + std::string(entry.name) + "\n\n" + escaped(asSentence(entry.summary)) +
                " " + paragraphs(entry.description) + syntaxOf(*found.front()) + "```\n" +
                entry.examples + "\n```\n\n";
    }
    return text;
}

}  // namespace cli
