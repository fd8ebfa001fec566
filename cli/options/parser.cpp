#include "options/parser.h"

#include <algorithm>

#include "base/failure.h"
#include "options/wrong_use.h"

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

bool isOption(const std::string& word) { return word.size() > 1 && word.front() == '-'; }

/// Whether an option for all commands leaves its value to the word behind it.
bool hasValue(const std::string& word) { return word == "-C" || word == "--color"; }

/// Whether a word that begins with "-" is no option of a command whose arguments may do so.
bool isSigned(const std::string& word) {
    const bool isLong = word.compare(0, 2, "--") == 0;
    const bool isKnown =
        hasValue(word) || word == "-h" || word == "-q" || word == "-v" || word == "-vv";
    return isOption(word) && !isLong && !isKnown;
}

}  // namespace

std::size_t commandAt(const std::vector<std::string>& words) {
    std::size_t at = 0;
    while (at < words.size() && isOption(words[at])) {
        at += hasValue(words[at]) ? 2 : 1;
    }
    return std::min(at, words.size());
}

const CLI::App& selectedCommand(const CLI::App& app) {
    const std::vector<CLI::App*> chosen =
        const_cast<CLI::App&>(app).get_subcommands();  // NOLINT: the parser's own is not const
    return chosen.empty() ? app : selectedCommand(*chosen.back());
}

std::string fullName(const CLI::App& app) {
    return app.get_parent() ? fullName(*app.get_parent()) + " " + app.get_name() : app.get_name();
}

std::string withoutMark(std::string text) {
    stripMark(text);
    return text;
}

LineHabits Parser::habits() const {
    return {[this](const CLI::App& app) { return m_programs.count(&app) > 0; },
            [this](const CLI::App& app, const std::string& word) {
                return &app == m_signed && isSigned(word);
            }};
}

Expected Parser::expected(const CLI::Option* option) const {
    const auto found = m_operands.find(option);
    return found != m_operands.end() ? found->second : Expected();
}

std::size_t Parser::ownWords(const std::vector<std::string>& words) const {
    return LinePlace(m_root, words, habits()).own;
}

Action Parser::parse(std::vector<std::string> words) {
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

    const CLI::App& command = selectedCommand(m_root);
    const auto program = m_programs.find(&command);
    if (program != m_programs.end() && program->second->empty()) {
        throw missingProgram(command);
    }
    stripMarks();
    return m_actions.at(&command);
}

/// Of a command whose arguments may begin with "-", those that are none of its options.
void Parser::markSigned(std::vector<std::string>& words) const {
    auto word = words.begin() + static_cast<std::ptrdiff_t>(commandAt(words));
    if (!m_signed || word == words.end() || *word != m_signed->get_name()) {
        return;
    }
    for (const auto end = std::find(word, words.end(), "--"); word != end; ++word) {
        if (isSigned(*word)) {
            word->insert(word->begin(), verbatimMark);
        }
    }
}

void Parser::stripMarks() {
    for (std::string* text : m_texts) {
        stripMark(*text);
    }
    for (std::vector<std::string>* list : m_lists) {
        std::for_each(list->begin(), list->end(), stripMark);
    }
}

}  // namespace cli
