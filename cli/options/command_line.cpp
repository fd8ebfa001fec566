#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <sstream>

#include "base/failure.h"
#include "base/text.h"
#include "options/cursor.h"
#include "options/manual.h"
#include "options/parser.h"
#include "options/wrong_use.h"

namespace cli {
namespace {

struct GlobalOptions {
    std::string directory;
    std::string color = "auto";
    int verbosity = 0;
};

void declareGlobals(CLI::App& app, Options& options, GlobalOptions& globals, Session& session) {
    app.name("vesta2");
    app.require_subcommand(1);
    app.set_help_flag("-h,--help", "show this text");
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app.get_formatter()->label("Positionals", "Arguments");
    app.set_version_flag("--version", std::string("vesta2 ") + VESTA2_VERSION, "show the version");
    options.option("-C", {"DIR", Stands::directory}, globals.directory,
                   "work as if started in DIR");
    options.flag("--json", session.json, "print one JSON object");
    options.choice("--color", globals.color, {"auto", "always", "never"}, "when to use colors");
    options.flag("--no-pager", session.noPager, "print long output without a pager");
    options.flag("-q,--quiet", session.quiet, "say nothing but data and errors");
    app.add_flag("-v,--verbose", globals.verbosity, "show the library's log (-vv: all of it)")
        ->disable_flag_override();
}

/// The library reads this before its first message.
void setLogLevel(int verbosity) {
    if (verbosity > 0) {
        ::setenv("VESTA_LOG", verbosity > 1 ? "debug" : "warn", 0);
    }
}

void changeDirectory(const std::string& directory) {
    if (directory.empty()) {
        throw Failure(exitUsage, {}, "the directory of -C is empty", "name a directory, or '.'");
    }
    if (::chdir(directory.c_str()) != 0) {
        throw Failure::fromErrno(errno, directory);
    }
}

bool isNameOf(const CommandEntry& entry, const std::string& word) {
    const std::string names = " " + std::string(entry.aliases) + " ";
    return word == entry.name || (!word.empty() && names.find(" " + word + " ") != names.npos);
}

/// The words with the command by its own name, and with "COMMAND --help" for "help COMMAND". Raises
/// `Failure` for an unknown command.
std::vector<std::string> withKnownCommand(std::vector<std::string> words, const CLI::App& app,
                                          const std::vector<CommandEntry>& commands) {
    const std::size_t at = commandAt(words);
    if (at < words.size() && words[at] == "help") {
        words.erase(words.begin() + static_cast<std::ptrdiff_t>(at));
        words.emplace_back("--help");
    }
    if (at >= words.size() || words[at].empty() || words[at].front() == '-') {
        return words;
    }
    const auto entry = std::ranges::find_if(
        commands, [&](const CommandEntry& each) { return isNameOf(each, words[at]); });
    if (entry == commands.end()) {
        for (std::size_t i = 0; i < at; ++i) {
            const std::string name = words[i].substr(0, words[i].find('='));
            if (name.starts_with("--") && !app.get_option_no_throw(name)) {
                throw Failure(exitUsage, {}, "the option " + name + " is too early, or none",
                              "put it behind the command that it is for");
            }
        }
        throw unknownCommand(words[at], commands);
    }
    words[at] = entry->name;
    return words;
}

/// A line of a help text, broken between words: what is told of an option stays in its column.
std::string folded(std::string line, std::size_t width) {
    constexpr std::size_t column = 30;
    const char* const gap = line.starts_with("  -") ? " " : "  ";
    const bool isTold = line.size() > column && line.substr(0, column).ends_with(gap);
    const std::size_t indent = isTold ? column : 0;
    const bool isExample = !isTold && line.starts_with(" ");
    std::string lines;
    while (line.size() > width && !isExample) {
        const std::size_t blank = line.rfind(' ', width);
        if (blank == line.npos || blank <= indent) {
            break;
        }
        lines += line.substr(0, blank) + "\n";
        line.replace(0, blank + 1, indent, ' ');
    }
    return lines + line + "\n";
}

/// The help of the command that was named last.
std::string helpText(const CLI::App& app, const Output& out) {
    const CLI::App& command = selectedCommand(app);
    std::istringstream lines(
        command.help(command.get_parent() ? fullName(*command.get_parent()) : ""));
    constexpr int readable = 100;
    const int width = out.isTerminal() ? terminalWidth(STDOUT_FILENO) : readable;
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        text += folded(line, static_cast<std::size_t>(std::min(width, readable)));
    }
    return text;
}

std::string footerFor(const CommandEntry& entry) {
    std::string lines = "  " + std::string(entry.examples);
    for (std::size_t end = lines.find('\n'); end != std::string::npos;
         end = lines.find('\n', end + 1)) {
        lines.insert(end + 1, "  ");
    }
    const std::string also =
        entry.aliases.empty() ? "" : "\n\nAlso called: " + std::string(entry.aliases);
    return "Examples:\n" + lines + also +
           "\n\nSee 'vesta2 --help' for what every command takes, and 'man vesta2'.";
}

/// To declare them all costs more than most of them do: those that are not named are only listed,
/// and not even that when one is named.
void declareCommands(CLI::App& app, Options& options, const std::vector<std::string>& words,
                     const std::vector<CommandEntry>& commands) {
    const std::size_t at = commandAt(words);
    for (const CommandEntry& entry : commands) {
        if (at < words.size() && words[at] == entry.name) {
            options.command(entry.name, entry.summary, *entry.declare);
            app.get_subcommand(entry.name)
                ->description(asSentence(entry.summary) + "\n" + entry.description + "\n")
                ->footer(footerFor(entry));
        } else if (at >= words.size()) {
            app.add_subcommand(entry.name, entry.summary)->group("Commands");
        }
    }
}

}  // namespace

Cursor cursorBehind(const std::vector<std::string>& words, const std::string& word,
                    const std::vector<CommandEntry>& commands) {
    CLI::App app;
    Parser parser(app);
    Options options(parser, app);
    GlobalOptions globals;
    Session session;
    declareGlobals(app, options, globals, session);
    const std::vector<std::string> known = withKnownCommand(words, app, commands);
    declareCommands(app, options, known, commands);
    return cursorAt(app, parser, known, word);
}

Request parseCommandLine(int argc, char** argv, const std::vector<CommandEntry>& commands,
                         Session& session) {
    CLI::App app("Keeps the results of program runs: collect, find, show and compare them.");
    Parser parser(app);
    Options options(parser, app);
    GlobalOptions globals;
    declareGlobals(app, options, globals, session);
    std::vector<std::string> words(argv + 1, argv + argc);
    if (words == std::vector<std::string>{"help", "--manual"}) {
        for (const CommandEntry& entry : commands) {
            options.command(entry.name, entry.summary, *entry.declare);
        }
        return {{}, manualOf(app, commands)};
    }
    try {
        words = withKnownCommand(words, app, commands);
    } catch (const Failure&) {
        session.json = std::ranges::count(words, "--json") != 0;
        throw;
    }
    declareCommands(app, options, words, commands);
    try {
        Request request{parser.parse(words), {}};
        session.out.setColor(globals.color);
        session.verbose = globals.verbosity > 0;
        setLogLevel(globals.verbosity);
        if (app.count("-C") > 0) {
            changeDirectory(globals.directory);
        }
        return request;
    } catch (const CLI::CallForVersion& version) {
        return {{}, std::string(version.what()) + "\n"};
    } catch (const CLI::CallForHelp&) {
        session.noPager = std::ranges::count(words, "--no-pager") != 0;
        return {{}, helpText(app, session.out)};
    } catch (const CLI::ParseError& error) {
        // Not the "--json" of a program.
        const auto end = words.begin() + static_cast<std::ptrdiff_t>(parser.ownWords(words));
        session.json = std::find(words.begin(), end, "--json") != end;
        throw wrongUse(app, error);
    }
}

}  // namespace cli
