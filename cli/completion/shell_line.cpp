#include "completion/shell_line.h"

namespace cli {
namespace {

constexpr std::string_view blanks = " \t\n";
/// What a backslash takes its meaning from within double quotes.
constexpr std::string_view special = "$`\"\\\n";

}  // namespace

ShellLine::ShellLine(std::string_view line) {
    char quote = 0;
    bool isInWord = false;
    for (std::size_t at = 0; at < line.size(); ++at) {
        const char c = line[at];
        if (quote == 0 && blanks.find(c) != std::string_view::npos) {
            isInWord = false;
            continue;
        }
        if (!isInWord) {
            words.push_back({{}, at});
            isInWord = true;
        }
        std::string& text = words.back().text;
        if (quote == 0 && (c == '\'' || c == '"')) {
            quote = c;
        } else if (c == quote) {
            quote = 0;
        } else if (c == '\\' && quote != '\'') {
            const bool isLast = at + 1 == line.size();
            if (quote == '"' && (isLast || special.find(line[at + 1]) == std::string_view::npos)) {
                text += c;
            } else if (!isLast) {
                text += line[++at];
            }
        } else {
            text += c;
        }
    }
    if (!isInWord) {
        words.push_back({{}, line.size()});
    }
}

}  // namespace cli
