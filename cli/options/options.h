#pragma once
/// Parsing of the command line. A command declares its arguments and returns the action to run. The
/// parser library is included by the sources of this folder alone.

#include <functional>
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

/// Where a command declares its arguments. Targets must live as long as the action.
class Options {
public:
    Options(Parser& parser, CLI::App& app) : m_parser(parser), m_app(app) {}

    void flag(const char* names, bool& target, const char* help);
    void option(const char* names, const char* type, std::string& target, const char* help);
    void requiredOption(const char* names, const char* type, std::string& target, const char* help);
    /// May be given several times.
    void option(const char* names, const char* type, std::vector<std::string>& target,
                const char* help);
    void option(const char* names, const char* type, int& target, int least, int greatest,
                const char* help);
    void choice(const char* names, std::string& target, const std::vector<std::string>& choices,
                const char* help);
    void argument(const char* name, std::string& target, const char* help);
    void optionalArgument(const char* name, std::string& target, const char* help);
    void arguments(const char* name, std::vector<std::string>& target, const char* help,
                   bool required);
    /// May begin with "-", when they are no option of the command.
    void signedArguments(const char* name, std::vector<std::string>& target, const char* help);
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

/// Raises `Failure` for wrong use. Options for all commands are put into `session` even then, as
/// far as they were understood.
Request parseCommandLine(int argc, char** argv, const std::vector<CommandEntry>& commands,
                         Session& session);

}  // namespace cli
