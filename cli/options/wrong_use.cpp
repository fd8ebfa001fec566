#include "options/wrong_use.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "base/spelling.h"
#include "base/text.h"
#include "options/parser.h"

namespace cli {
namespace {

std::vector<std::string> commandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(command->get_name());
    }
    return names;
}

std::vector<std::string> optionNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* level = &app; level; level = level->get_parent()) {
        for (const CLI::Option* option : level->get_options()) {
            for (const std::string& name : option->get_lnames()) {
                names.push_back("--" + name);
            }
        }
    }
    return names;
}

std::string helpHint(const CLI::App& app) { return "see '" + fullName(app) + " --help'"; }

Failure unexpected(const CLI::App& app, std::string word) {
    const bool isOption = word.size() > 1 && word.front() == '-';
    const bool isCommand = !isOption && !commandNames(app).empty();
    word = withoutMark(std::move(word));
    const std::vector<std::string> others =
        isCommand ? std::vector<std::string>() : optionNames(app);
    if (std::find(others.begin(), others.end(), word) != others.end()) {
        return {exitUsage,
                {},
                "the option " + word + " is too early",
                "put it behind the command that it is for"};
    }
    const std::string guess = nearest(word, isCommand ? commandNames(app) : others);
    const std::string kind = isCommand  ? "unknown command "
                             : isOption ? "unknown option "
                                        : "one argument too many: ";
    const bool guessed = (isCommand || isOption) && !guess.empty();
    return {exitUsage,
            {},
            kind + shellQuote(word),
            guessed ? "did you mean '" + guess + "'?" : helpHint(app)};
}

/// The parser's own words tell the option first, and then in its tongue what is wrong.
std::string problemIn(const CLI::ParseError& error) {
    const std::string text = error.what();
    const std::string name = text.substr(0, text.find(':'));
    const bool isMismatch = dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr;
    if (isMismatch && text.find("At Most") != std::string::npos) {
        return name + " was given more than once";
    }
    if (isMismatch && text.find("override") != std::string::npos) {
        return "--" + text.substr(0, text.find(' ')) + " takes no value";
    }
    return isMismatch ? "the value of " + name.substr(0, name.find(' ')) + " is missing" : text;
}

}  // namespace

Failure unknownCommand(const std::string& word, const std::vector<CommandEntry>& commands) {
    std::vector<std::string> names;
    std::string guess;
    for (const CommandEntry& entry : commands) {
        names.emplace_back(entry.name);
        const std::string misses = " " + std::string(entry.nearMisses) + " ";
        if (misses.find(" " + word + " ") != std::string::npos) {
            guess = entry.name;
        }
    }
    guess = guess.empty() ? nearest(word, names) : guess;
    return {exitUsage,
            {},
            "unknown command " + shellQuote(word),
            guess.empty() ? "see 'vesta2 --help'" : "did you mean '" + guess + "'?"};
}

Failure missingProgram(const CLI::App& app) {
    return {exitUsage,
            {},
            "the program to run is missing",
            "put it at the end, as in '" + fullName(app) + " ... PROGRAM ARGUMENT...'"};
}

Failure wrongUse(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App& command = selectedCommand(app);
    const auto is = [&](CLI::ExitCodes kind) {
        return error.get_exit_code() == static_cast<int>(kind);
    };
    const bool isMissing = is(CLI::ExitCodes::RequiredError);
    std::vector<std::string> extra = app.remaining(true);
    std::erase(extra, "--");
    if (!extra.empty() && (isMissing || is(CLI::ExitCodes::ExtrasError))) {
        return unexpected(command, extra.front());
    }
    const bool isCommandMissing = isMissing && !commandNames(command).empty();
    return {exitUsage,
            {},
            isCommandMissing ? "a command is missing" : problemIn(error),
            helpHint(command)};
}

}  // namespace cli
