#include "options/options.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <map>
#include <string_view>

#include "base/failure.h"
#include "base/spelling.h"
#include "base/text.h"
#include "options/own_words.h"

namespace cli {
namespace {

/// Prefix of the arguments behind "--", and of a program's words, so that the parser does not take
/// them for options. It is removed after parsing.
constexpr char verbatimMark = '\x01';

void stripMark(std::string& text) {
    if (!text.empty() && text.front() == verbatimMark) {
        text.erase(0, 1);
    }
}

const CLI::App& selected(const CLI::App& app) {
    const std::vector<CLI::App*> chosen =
        const_cast<CLI::App&>(app).get_subcommands();  // NOLINT: the parser's own is not const
    return chosen.empty() ? app : selected(*chosen.back());
}

std::string fullName(const CLI::App& app) {
    return app.get_parent() ? fullName(*app.get_parent()) + " " + app.get_name() : app.get_name();
}

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
    stripMark(word);
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

Failure missingProgram(const CLI::App& app) {
    return {exitUsage,
            {},
            "the program to run is missing",
            "put it at the end, as in '" + fullName(app) + " ... PROGRAM ARGUMENT...'"};
}

}  // namespace

/// Runs the parser, and finishes the targets afterwards.
class Parser {
public:
    explicit Parser(CLI::App& root) : m_root(root) {}

    void addText(std::string& target) { m_texts.push_back(&target); }
    void addTexts(std::vector<std::string>& target) { m_lists.push_back(&target); }
    void addProgram(const CLI::App& app, std::vector<std::string>& target) {
        m_programs[&app] = &target;
    }
    void addSigned(const CLI::App& app) { m_signed = &app; }
    void addAction(const CLI::App& app, Action action) { m_actions[&app] = std::move(action); }

    /// How many of the words are not those of a program that is to be run.
    [[nodiscard]] std::size_t ownWords(const std::vector<std::string>& words) const {
        return countOwnWords(m_root, words,
                             [&](const CLI::App& app) { return m_programs.count(&app) > 0; });
    }

    Action parse(std::vector<std::string> words) {
        const std::size_t own = ownWords(words);
        for (std::size_t at = 0; at < words.size(); ++at) {
            std::string& word = words[at];
            const bool isMarked = !word.empty() && word.front() == verbatimMark;
            if (isMarked || at > own || (at == own && word != "--")) {
                word.insert(word.begin(), verbatimMark);
            }
        }
        markSigned(words);
        std::reverse(words.begin(), words.end());
        m_root.parse(std::move(words));

        const CLI::App& command = selected(m_root);
        const auto program = m_programs.find(&command);
        if (program != m_programs.end() && program->second->empty()) {
            throw missingProgram(command);
        }
        stripMarks();
        return m_actions.at(&command);
    }

private:
    /// Of a command whose arguments may begin with "-", those that are none of its options.
    void markSigned(std::vector<std::string>& words) const {
        const auto isOption = [](const std::string& word) {
            return word.size() > 1 && word.front() == '-';
        };
        const auto hasValue = [](const std::string& word) {
            return word == "-C" || word == "--color";
        };
        auto word = words.begin();
        while (word != words.end() && isOption(*word)) {
            word += hasValue(*word) && word + 1 != words.end() ? 2 : 1;
        }
        if (!m_signed || word == words.end() || *word != m_signed->get_name()) {
            return;
        }
        for (const auto end = std::find(word, words.end(), "--"); word != end; ++word) {
            const bool isLong = word->compare(0, 2, "--") == 0;
            const bool isKnown = hasValue(*word) || *word == "-h" || *word == "-q" ||
                                 *word == "-v" || *word == "-vv";
            if (isOption(*word) && !isLong && !isKnown) {
                word->insert(word->begin(), verbatimMark);
            }
        }
    }

    void stripMarks() {
        for (std::string* text : m_texts) {
            stripMark(*text);
        }
        for (std::vector<std::string>* list : m_lists) {
            std::for_each(list->begin(), list->end(), stripMark);
        }
    }

    CLI::App& m_root;
    std::vector<std::string*> m_texts;
    std::vector<std::vector<std::string>*> m_lists;
    std::map<const CLI::App*, std::vector<std::string>*> m_programs;
    const CLI::App* m_signed = nullptr;
    std::map<const CLI::App*, Action> m_actions;
};

void Options::flag(const char* names, bool& target, const char* help) {
    m_app.add_flag(names, target, help);
}

void Options::option(const char* names, const char* type, std::string& target, const char* help) {
    m_app.add_option(names, target, help)->option_text(type);
    m_parser.addText(target);
}

void Options::requiredOption(const char* names, const char* type, std::string& target,
                             const char* help) {
    m_app.add_option(names, target, help)->option_text(type)->required();
    m_parser.addText(target);
}

void Options::option(const char* names, const char* type, std::vector<std::string>& target,
                     const char* help) {
    m_app.add_option(names, target, help)->option_text(type)->allow_extra_args(false);
    m_parser.addTexts(target);
}

void Options::option(const char* names, const char* type, int& target, int least, int greatest,
                     const char* help) {
    // The parser's own takes "010" for 8.
    const auto read = [&target, name = std::string(names), least,
                       greatest](const std::vector<std::string>& texts) {
        const std::string& text = texts.back();
        const char* const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, target);
        if (error != std::errc() || stop != end || target < least || target > greatest) {
            throw CLI::ValidationError(name, shellQuote(text) + " is no whole number from " +
                                                 std::to_string(least) + " to " +
                                                 std::to_string(greatest));
        }
        return true;
    };
    m_app.add_option(names, read, help)->option_text(type);
}

void Options::choice(const char* names, std::string& target,
                     const std::vector<std::string>& choices, const char* help) {
    const std::string type = CLI::detail::join(choices, "|");
    m_app.add_option(names, target, help)
        ->option_text(type)
        ->check([choices, type](const std::string& text) {
            const bool isKnown = std::find(choices.begin(), choices.end(), text) != choices.end();
            return isKnown ? std::string() : shellQuote(text) + " is none of " + type;
        });
}

void Options::argument(const char* name, std::string& target, const char* help) {
    m_app.add_option(name, target, help)->option_text(" ")->required();
    m_parser.addText(target);
}

void Options::optionalArgument(const char* name, std::string& target, const char* help) {
    m_app.add_option(name, target, help)->option_text(" ");
    m_parser.addText(target);
}

void Options::arguments(const char* name, std::vector<std::string>& target, const char* help,
                        bool required) {
    m_app.add_option(name, target, help)->option_text("...")->required(required);
    m_parser.addTexts(target);
}

void Options::signedArguments(const char* name, std::vector<std::string>& target,
                              const char* help) {
    arguments(name, target, help, false);
    m_parser.addSigned(m_app);
}

void Options::program(std::vector<std::string>& target) {
    arguments("PROGRAM", target, "the program and its arguments; '--' may go before it", false);
    m_parser.addProgram(m_app, target);
}

void Options::command(const char* name, const char* summary, Declaration& declare) {
    CLI::App& app = *m_app.add_subcommand(name, summary);
    app.fallthrough();
    app.group("Commands");
    app.footer("See 'vesta2 --help' for what every command takes.");
    Options options(m_parser, app);
    Action action = declare(options);
    if (action) {
        m_parser.addAction(app, std::move(action));
    } else {
        app.require_subcommand(1);
    }
}

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
    options.option("-C", "DIR", globals.directory, "work as if started in DIR");
    options.flag("--json", session.json, "print one JSON object");
    options.choice("--color", globals.color, {"auto", "always", "never"}, "when to use colors");
    options.flag("-q,--quiet", session.quiet, "say nothing but data and errors");
    app.add_flag("-v,--verbose", globals.verbosity, "show the library's log (-vv: all of it)");
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

}  // namespace

Request parseCommandLine(int argc, char** argv, const std::vector<CommandEntry>& commands,
                         Session& session) {
    CLI::App app("Keeps the results of program runs: collect, find, show and compare them.");
    Parser parser(app);
    Options options(parser, app);
    GlobalOptions globals;
    declareGlobals(app, options, globals, session);
    // To declare them all costs more than most of them do: those that are not named anywhere are
    // only listed, and not even that behind a first word that is a command.
    const auto isNamed = [&](const CommandEntry& entry) {
        return std::find(argv + 1, argv + argc, std::string_view(entry.name)) != argv + argc;
    };
    const bool isFirst =
        argc > 1 && std::any_of(commands.begin(), commands.end(), [&](const CommandEntry& entry) {
            return std::string_view(entry.name) == argv[1];
        });
    for (const CommandEntry& entry : commands) {
        if (isNamed(entry)) {
            options.command(entry.name, entry.summary, *entry.declare);
        } else if (!isFirst) {
            app.add_subcommand(entry.name, entry.summary)->group("Commands");
        }
    }
    const std::vector<std::string> words(argv + 1, argv + argc);
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
        const CLI::App& command = selected(app);
        return {{}, command.help(command.get_parent() ? fullName(*command.get_parent()) : "")};
    } catch (const CLI::ParseError& error) {
        // Not the "--json" of a program.
        const auto end = words.begin() + static_cast<std::ptrdiff_t>(parser.ownWords(words));
        session.json = std::find(words.begin(), end, "--json") != end;
        const CLI::App& command = selected(app);
        const auto is = [&](CLI::ExitCodes kind) {
            return error.get_exit_code() == static_cast<int>(kind);
        };
        const bool isMissing = is(CLI::ExitCodes::RequiredError);
        std::vector<std::string> extra = app.remaining(true);
        extra.erase(std::remove(extra.begin(), extra.end(), "--"), extra.end());
        if (!extra.empty() && (isMissing || is(CLI::ExitCodes::ExtrasError))) {
            throw unexpected(command, extra.front());
        }
        std::string problem = error.what();
        if (isMissing && !commandNames(command).empty()) {
            problem = "a command is missing";
        }
        throw Failure(exitUsage, {}, problem, helpHint(command));
    }
}

}  // namespace cli
