#pragma once
/// What the parser library does not do: arguments word for word, and an action for each command.

#include <CLI/CLI.hpp>
#include <map>
#include <string>
#include <vector>

#include "options/line_place.h"
#include "options/options.h"

namespace cli {

struct Expected {
    Stands stands = Stands::text;
    std::vector<std::string> choices{};
};

/// Runs the parser, and finishes the targets afterwards.
class Parser {
public:
    explicit Parser(CLI::App& root) : m_root(root) {}

    void addText(std::string& target) { m_texts.push_back(&target); }
    void addTexts(std::vector<std::string>& target) { m_lists.push_back(&target); }
    void addProgram(const CLI::App& app, std::vector<std::string>& target) {
        m_programs[&app] = &target;
    }
    /// The arguments of this command may begin with "-".
    void addSigned(const CLI::App& app) { m_signed = &app; }
    void addOperand(const CLI::Option* option, Stands stands,
                    const std::vector<std::string>& choices = {}) {
        m_operands[option] = {stands, choices};
    }
    void addAction(const CLI::App& app, Action action) { m_actions[&app] = std::move(action); }

    [[nodiscard]] LineHabits habits() const;
    /// What the value of an option, or an argument, stands for, and what is to choose from.
    [[nodiscard]] Expected expected(const CLI::Option* option) const;
    /// How many of the words are not those of a program that is to be run.
    [[nodiscard]] std::size_t ownWords(const std::vector<std::string>& words) const;
    /// Raises what the parser library raises, and `Failure`.
    Action parse(std::vector<std::string> words);

private:
    void markSigned(std::vector<std::string>& words) const;
    void stripMarks();

    CLI::App& m_root;
    std::vector<std::string*> m_texts;
    std::vector<std::vector<std::string>*> m_lists;
    std::map<const CLI::App*, std::vector<std::string>*> m_programs;
    const CLI::App* m_signed = nullptr;
    std::map<const CLI::Option*, Expected> m_operands;
    std::map<const CLI::App*, Action> m_actions;
};

/// Where the command is in a command line: behind the options for all commands, and their values.
std::size_t commandAt(const std::vector<std::string>& words);

/// The command that was named last, which is the innermost.
const CLI::App& selectedCommand(const CLI::App& app);
/// With the names of those above it.
std::string fullName(const CLI::App& app);

/// The text without the prefix that keeps the parser from taking it for an option.
std::string withoutMark(std::string text);

}  // namespace cli
