#pragma once
/// Parsing of the command line. A command declares its arguments and returns the action to run. The
/// parser library is included by the sources of this folder alone.

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "output/session.h"

namespace CLI {
class App;
}

namespace cli {

/// Runs a command whose arguments have been parsed; returns the exit code.
using Action = std::function<int(Session&)>;

class Options;
/// Declares a command's arguments. Returns an empty action when it only groups other commands.
using Declaration = Action(Options&);

class Parser;

/// What a word stands for: completion proposes what could be meant.
enum class Stands {
    text,              ///< anything
    node,              ///< a node; also what a path leads to
    nodeOrKey,         ///< behind the first node, also a key
    nodeOrAssignment,  ///< behind the first node, also KEY=VALUE
    nodeOrTag,         ///< also a tag, with "+" or "-" in front
    group,
    directory,
    file,
    key,          ///< a fact or a property of the nodes that are named
    keys,         ///< several of them, a comma between two
    property,     ///< one that may be changed
    tag,          ///< one that nodes of the group have
    flag,         ///< one that the node has
    environment,  ///< a variable of it
    expression,   ///< which nodes are meant
};

/// What the help calls a word, and what that stands for.
struct Operand {
    Operand(const char* name, Stands meaning = Stands::text) : label(name), stands(meaning) {}

    const char* label;
    Stands stands;
};

/// Where a command declares its arguments. Targets must live as long as the action.
class Options {
public:
    Options(Parser& parser, CLI::App& app) : m_parser(parser), m_app(app) {}

    void flag(const char* names, bool& target, const char* help);
    void option(const char* names, const Operand& value, std::string& target, const char* help);
    void requiredOption(const char* names, const Operand& value, std::string& target,
                        const char* help);
    /// May be given several times.
    void option(const char* names, const Operand& value, std::vector<std::string>& target,
                const char* help);
    void option(const char* names, const char* type, int& target, int least, int greatest,
                const char* help);
    void choice(const char* names, std::string& target, const std::vector<std::string>& choices,
                const char* help);
    void argument(const Operand& argument, std::string& target, const char* help);
    void optionalArgument(const Operand& argument, std::string& target, const char* help);
    void arguments(const Operand& argument, std::vector<std::string>& target, const char* help,
                   bool required);
    /// May begin with "-", when they are no option of the command.
    void signedArguments(const Operand& argument, std::vector<std::string>& target,
                         const char* help);
    /// The last argument: a program and what belongs to it, word for word, with or without "--"
    /// before it.
    void program(std::vector<std::string>& target);
    void command(const char* name, const char* summary, Declaration& declare);

private:
    Parser& m_parser;
    CLI::App& m_app;
};

/// What was asked: an action, or a text to print instead (help, version).
struct Request {
    Action action;
    std::string text;
};

struct CommandEntry {
    const char* name;
    const char* summary;
    Declaration* declare;
    const char* description;        ///< what the summary leaves open; a line for each paragraph
    const char* examples;           ///< a line each
    std::string_view aliases{};     ///< other names, a blank between two
    std::string_view nearMisses{};  ///< what others call it, in the same form
};

/// A word that could stand at the cursor, and what the help says of it.
struct Proposal {
    std::string text;
    std::string help{};
};

/// What a command line asks for at the cursor.
struct Cursor {
    struct Given {
        Stands stands;
        std::string text;
    };

    std::vector<Proposal> words{};  ///< commands, options and choices
    Stands stands = Stands::text;   ///< what else may stand here
    std::string front{};            ///< of the word at the cursor what is no value: "--tag="
    std::string value{};
    std::string directory{};               ///< the one of "-C"
    std::vector<Given> given{};            ///< values and arguments before the cursor
    std::optional<std::size_t> program{};  ///< the first word that is a program's
};

/// What is asked for behind `words`, where the word at the cursor begins with `word`. Raises
/// `Failure` when they name no command.
Cursor cursorBehind(const std::vector<std::string>& words, const std::string& word,
                    const std::vector<CommandEntry>& commands);

/// Raises `Failure` for wrong use. Options for all commands are put into `session` even then, as
/// far as they were understood.
Request parseCommandLine(int argc, char** argv, const std::vector<CommandEntry>& commands,
                         Session& session);

}  // namespace cli
