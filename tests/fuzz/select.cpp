#include "select/expression.h"

#include <optional>

#include "fuzz.h"

namespace {

using cli::Expression;
using fuzz::require;

/// What is wrong is told by a place within the text, or behind it.
std::optional<Expression> parse(const std::string& text) {
    try {
        return Expression(text);
    } catch (const cli::SyntaxError& error) {
        require(1 <= error.column && error.column <= text.size() + 1);
        return std::nullopt;
    }
}

/// Unknown is between no and yes.
int meaning(const std::string& text, const Expression::Values& values) {
    const std::optional<Expression> expression = parse(text);
    require(expression.has_value());
    const std::optional<bool> result = expression->matches(values);
    return result ? (*result ? 2 : 0) : 1;
}

/// Whatever it is, a node with these values is as the expression says.
void requireEqualities(std::int64_t number, const std::string& text) {
    const Expression::Values values = [&](const std::string& key) {
        using Texts = std::vector<std::string>;
        return key == "t"   ? cli::Value(Texts{text, "other"})
               : key == "u" ? cli::Value(cli::Unknown())
               : key == "0" ? cli::Value()
                            : cli::Value(number);
    };
    std::string quoted;
    for (const char c : text) {
        quoted.append(c == '\'' ? 2 : 1, c);
    }
    quoted = "'" + quoted + "'";
    require(meaning("t=" + quoted, values) == 2 && meaning("t!=" + quoted, values) == 0);
    require(meaning("t<=" + quoted, values) == 2 && meaning("t>=" + quoted, values) == 2);
    require(meaning("0=" + quoted, values) == 0 && meaning("0!=" + quoted, values) == 2);
    require(meaning("0<" + quoted, values) == 0 && meaning("0>=" + quoted, values) == 0);
    require(meaning("u=" + quoted, values) == 1 && meaning("not u", values) == 1);
    const std::string digits = std::to_string(number);
    for (const std::string key : {"n", "rank"}) {
        require(meaning(key + "=" + digits, values) == 2);
        require(meaning(key + "<" + digits + " or " + key + ">" + digits, values) == 0);
    }
}

}  // namespace

/// Two texts, with what a node has. Each that is an expression keeps its meaning among others.
void fuzz::judge(std::string_view input) {
    const auto number = takeNumber<std::int64_t>(input);
    const auto kinds = takeNumber<std::uint8_t>(input);
    const std::string name = takeLine(input, 20);
    requireEqualities(number, name);
    const std::string first = takeLine(input, 300);
    const std::string second(input);
    if (!parse(first) || !parse(second)) {
        return;
    }
    const Expression::Values values = [&](const std::string& key) {
        switch ((kinds >> key.size() % 4 * 2) % 4) {
        case 0:
            return cli::Value();
        case 1:
            return cli::Value(cli::Unknown());
        case 2:
            return cli::Value(number);
        default:
            return cli::Value(std::vector<std::string>{name, key});
        }
    };
    const int a = meaning(first, values);
    const int b = meaning(second, values);
    const std::string inner = "(" + first + ")";
    // Levels may be too many, in a text that has nearly as many itself.
    if (!parse("not (" + inner + ")") || !parse("(" + second + ")")) {
        return;
    }
    require(meaning(inner, values) == a && meaning("not " + inner, values) == 2 - a);
    require(meaning(inner + "and(" + second + ")", values) == std::min(a, b));
    require(meaning(first + " or " + second, values) == std::max(a, b));
}
