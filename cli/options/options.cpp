#include "options/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>

#include "base/text.h"
#include "options/parser.h"

namespace cli {

void Options::flag(const char* names, bool& target, const char* help) {
    m_app.add_flag(names, target, help)->disable_flag_override();
}

void Options::option(const char* names, const Operand& value, std::string& target,
                     const char* help) {
    m_parser.addOperand(m_app.add_option(names, target, help)->option_text(value.label),
                        value.stands);
    m_parser.addText(target);
}

void Options::requiredOption(const char* names, const Operand& value, std::string& target,
                             const char* help) {
    CLI::Option* const option = m_app.add_option(names, target, help);
    m_parser.addOperand(option->option_text(value.label)->required(), value.stands);
    m_parser.addText(target);
}

void Options::option(const char* names, const Operand& value, std::vector<std::string>& target,
                     const char* help) {
    CLI::Option* const option = m_app.add_option(names, target, help);
    m_parser.addOperand(option->option_text(value.label)->allow_extra_args(false), value.stands);
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
    CLI::Option* const option = m_app.add_option(names, target, help);
    m_parser.addOperand(option, Stands::text, choices);
    option->option_text(type)->check([choices, type](const std::string& text) {
        const bool isKnown = std::find(choices.begin(), choices.end(), text) != choices.end();
        return isKnown ? std::string() : shellQuote(text) + " is none of " + type;
    });
}

void Options::argument(const Operand& argument, std::string& target, const char* help) {
    CLI::Option* const option = m_app.add_option(argument.label, target, help);
    m_parser.addOperand(option->option_text(" ")->required(), argument.stands);
    m_parser.addText(target);
}

void Options::optionalArgument(const Operand& argument, std::string& target, const char* help) {
    m_parser.addOperand(m_app.add_option(argument.label, target, help)->option_text(" "),
                        argument.stands);
    m_parser.addText(target);
}

void Options::arguments(const Operand& argument, std::vector<std::string>& target, const char* help,
                        bool required) {
    CLI::Option* const option = m_app.add_option(argument.label, target, help);
    m_parser.addOperand(option->option_text("...")->required(required), argument.stands);
    m_parser.addTexts(target);
}

void Options::signedArguments(const Operand& argument, std::vector<std::string>& target,
                              const char* help) {
    arguments(argument, target, help, false);
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

}  // namespace cli
