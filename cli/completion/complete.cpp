#include "completion/complete.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>

#include "completion/candidates.h"
#include "completion/paths.h"
#include "completion/shell_line.h"

namespace cli {
namespace {

/// Stands for itself in every shell, unquoted.
bool isPlain(unsigned char c) {
    constexpr std::string_view others = "_-+./=:,%@";
    return std::isalnum(c) != 0 || others.find(static_cast<char>(c)) != others.npos;
}

bool isPlainText(const std::string& text) {
    // What a user wrote for the home directory is meant so.
    return std::all_of(text.begin() + (text.starts_with("~/") ? 1 : 0), text.end(), isPlain);
}

/// What the shell keeps of the word at the cursor when it replaces the end of the line.
std::string keptPart(const std::string& line, const std::string& replaced, std::size_t begin) {
    const std::size_t end = line.ends_with(replaced) ? line.size() - replaced.size() : 0;
    return end > begin ? ShellLine(line.substr(0, end)).words.back().text : "";
}

struct Question {
    std::vector<std::string> words;
    std::string word;                  ///< the one at the cursor
    std::string kept{};                ///< of it, what stays
    std::vector<std::string> tails{};  ///< of the line, from each word on
    bool isOfBash = false;             ///< which hands over the line as it was typed
};

Question questionIn(const std::vector<std::string>& arguments) {
    Question question;
    if (arguments.size() == 3 && arguments.front() == "line") {
        const std::string& line = arguments[1];
        const ShellLine read(line);
        question.isOfBash = true;
        for (auto word = read.words.begin() + 1; word < read.words.end(); ++word) {
            question.words.push_back(word->text);
            question.tails.push_back(line.substr(word->begin));
        }
        question.kept = keptPart(line, arguments[2], read.words.back().begin);
    } else if (!arguments.empty() && arguments.front() == "words") {
        question.words.assign(arguments.begin() + 1, arguments.end());
        for (std::size_t at = 0; at < question.words.size(); ++at) {
            question.tails.push_back(std::to_string(at));
        }
    }
    if (!question.words.empty()) {
        question.word = question.words.back();
        question.words.pop_back();
    }
    return question;
}

/// Bash quotes what names a file where the shell is, and leaves all else as it is: a tag could be a
/// command.
bool isQuotedByBash(const std::string& text, const Cursor& cursor) {
    std::error_code ignored;
    return isPlainText(text) ||
           (cursor.directory.empty() &&
            std::filesystem::exists(std::filesystem::symlink_status(withoutTilde(text), ignored)));
}

std::string answer(const Question& question, const std::vector<CommandEntry>& commands) {
    const Cursor cursor = cursorBehind(question.words, question.word, commands);
    if (cursor.program) {
        return "program " + question.tails.at(*cursor.program) + "\n";
    }
    std::vector<Proposal> proposals = candidatesAt(cursor);
    if (question.isOfBash) {
        std::erase_if(proposals, [&](const Proposal& proposal) {
            return !isQuotedByBash(proposal.text, cursor);
        });
    }
    const bool arePlain = std::ranges::all_of(proposals, isPlainText, &Proposal::text);
    std::string text = arePlain ? "plain\n" : "quote\n";
    for (const Proposal& proposal : proposals) {
        text += proposal.text.substr(question.kept.size());
        text += (proposal.help.empty() ? "" : "\t" + proposal.help) + "\n";
    }
    return text;
}

}  // namespace

void complete(const std::vector<std::string>& arguments, const std::vector<CommandEntry>& commands,
              Output& out) {
    // The library's log may go to a pipe that nobody reads.
    ::unsetenv("VESTA_LOG");
    try {
        out.write(answer(questionIn(arguments), commands));
        out.flush();
    } catch (...) {  // NOLINT(bugprone-empty-catch): what cannot be told is not proposed
    }
}

}  // namespace cli
