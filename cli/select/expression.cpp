#include "select/expression.h"

#include <algorithm>
#include <array>

#include "base/text.h"
#include "basekit2/path.h"
#include "select/keys.h"

namespace cli {
namespace {

/// Parentheses and "not", in each other.
constexpr int mostLevels = 100;

constexpr std::string_view blanks = " \t\r\n";
constexpr std::string_view special = "()=!<>~'\"";

}  // namespace

/// Takes an expression from a text, from left to right.
class ExpressionParser {
public:
    explicit ExpressionParser(std::string_view text) : m_text(text) {}

    Expression parse() {
        Expression whole = takeAny();
        if (m_at < m_text.size()) {
            fail(m_at, "expected 'and', 'or' or the end");
        }
        return whole;
    }

private:
    using Kind = Expression::Kind;

    [[noreturn]] static void fail(std::size_t where, const std::string& problem) {
        throw SyntaxError(where, problem);
    }

    Expression takeAny() { return takeList(Kind::any, "or", &ExpressionParser::takeAll); }
    Expression takeAll() { return takeList(Kind::all, "and", &ExpressionParser::takeOne); }

    Expression takeList(Kind kind, std::string_view joint, Expression (ExpressionParser::*take)()) {
        std::vector<Expression> parts{(this->*take)()};
        while (takeWord(joint)) {
            parts.push_back((this->*take)());
        }
        return parts.size() == 1 ? std::move(parts.front()) : Expression(kind, std::move(parts));
    }

    Expression takeOne() {
        skipBlanks();
        const std::size_t begin = m_at;
        if (!takeWord("not") && !takeSymbol("(")) {
            return takeComparison();
        }
        if (++m_level > mostLevels) {
            fail(begin, "too many levels");
        }
        const bool isNegated = m_text[begin] == 'n';
        Expression inner = isNegated ? takeOne() : takeAny();
        if (!isNegated && !takeSymbol(")")) {
            fail(m_at, "expected ')'");
        }
        --m_level;
        return isNegated ? negated(std::move(inner)) : inner;
    }

    static Expression negated(Expression inner) {
        std::vector<Expression> parts;
        parts.push_back(std::move(inner));
        return Expression(Kind::negation, std::move(parts));
    }

    struct Operator {
        std::string_view symbol;
        Kind kind;
        bool isNegated = false;
    };

    Expression takeComparison() {
        static constexpr std::array operators{
            Operator{"!=", Kind::equal, true},    Operator{"!~", Kind::like, true},
            Operator{"=~", Kind::like},           Operator{"==", Kind::equal},
            Operator{"=", Kind::equal},           Operator{"<=", Kind::lessOrEqual},
            Operator{">=", Kind::greaterOrEqual}, Operator{"<", Kind::less},
            Operator{">", Kind::greater},
        };
        Expression comparison(Kind::presence, {});
        if (takeWord("and") || takeWord("or")) {
            fail(m_at, "expected a comparison before it");
        }
        comparison.m_key = takeText("a key such as state, elapsed or a property", special);
        for (const Operator& each : operators) {
            if (takeSymbol(each.symbol)) {
                comparison.m_kind = each.kind;
                takeValue(comparison);
                return each.isNegated ? negated(std::move(comparison)) : comparison;
            }
        }
        return comparison;
    }

    void takeValue(Expression& comparison) {
        skipBlanks();
        const std::size_t begin = m_at;
        std::string& text = comparison.m_text;
        text = takeText("a value", "()");
        static constexpr FactKey property{"", Measure::any};
        const FactKey* const known = findFact(comparison.m_key);
        const FactKey& fact = known ? *known : property;
        if (comparison.m_kind == Kind::like) {
            return;
        }
        comparison.m_measure = fact.measure;
        if (fact.measure != Measure::text && fact.measure != Measure::any) {
            const std::optional<Range> range = readRange(fact.measure, text);
            if (!range) {
                fail(begin, shellQuote(text) + " is not " + descriptionOf(fact.measure));
            }
            comparison.m_range = *range;
        }
        const bool isWord = text.find(' ') == text.npos && !text.empty();
        if (!fact.choices.empty() &&
            (!isWord || fact.choices.find(' ' + text + ' ') == fact.choices.npos)) {
            const std::string_view all = fact.choices.substr(1, fact.choices.size() - 2);
            fail(begin, shellQuote(text) + " is none of " + std::string(all));
        }
    }

    /// A word up to a blank or one of `ends`, or a text in quotes.
    std::string takeText(const std::string& expected, std::string_view ends) {
        skipBlanks();
        const std::size_t begin = m_at;
        const char quote = begin < m_text.size() ? m_text[begin] : '\0';
        if (quote == '\'' || quote == '"') {
            return takeQuoted(quote);
        }
        while (m_at < m_text.size() && blanks.find(m_text[m_at]) == blanks.npos &&
               ends.find(m_text[m_at]) == ends.npos) {
            ++m_at;
        }
        if (m_at == begin) {
            fail(begin, "expected " + expected);
        }
        return std::string(m_text.substr(begin, m_at - begin));
    }

    std::string takeQuoted(char quote) {
        const std::size_t begin = m_at++;
        std::string text;
        while (m_at < m_text.size()) {
            const char c = m_text[m_at++];
            const bool isDoubled = c == quote && m_at < m_text.size() && m_text[m_at] == quote;
            if (c == quote && !isDoubled) {
                return text;
            }
            m_at += isDoubled ? 1 : 0;
            text += c;
        }
        fail(begin, "the quote does not end");
    }

    void skipBlanks() {
        while (m_at < m_text.size() && blanks.find(m_text[m_at]) != blanks.npos) {
            ++m_at;
        }
    }

    bool takeSymbol(std::string_view symbol) {
        skipBlanks();
        const bool isNext = m_text.substr(m_at).starts_with(symbol);
        m_at += isNext ? symbol.size() : 0;
        return isNext;
    }

    /// A whole word.
    bool takeWord(std::string_view word) {
        skipBlanks();
        const std::string_view rest = m_text.substr(m_at);
        const std::size_t end = std::min(rest.find_first_of(" \t\r\n()=!<>~'\""), rest.size());
        if (rest.substr(0, end) != word) {
            return false;
        }
        m_at += word.size();
        return true;
    }

    const std::string_view m_text;
    std::size_t m_at = 0;
    int m_level = 0;
};

Expression::Expression(std::string_view text) : Expression(ExpressionParser(text).parse()) {}

std::optional<bool> Expression::matches(const Values& values) const {
    switch (m_kind) {
    case Kind::all:
    case Kind::any:
        return matchesParts(values);
    case Kind::negation: {
        const std::optional<bool> inner = m_parts.front().matches(values);
        return inner ? std::optional(!*inner) : inner;
    }
    default:
        break;
    }
    const Value value = values(m_key);
    if (std::holds_alternative<Unknown>(value)) {
        return std::nullopt;
    }
    if (m_kind == Kind::presence) {
        return !std::holds_alternative<std::monostate>(value);
    }
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
        const bool isMeasured = m_measure != Measure::any && m_kind != Kind::like;
        return isMeasured ? holds(*number) : holds(std::to_string(*number));
    }
    const auto* texts = std::get_if<std::vector<std::string>>(&value);
    return texts && std::ranges::any_of(*texts, [&](auto& text) { return holds(text); });
}

/// One part may decide, whatever the others are.
std::optional<bool> Expression::matchesParts(const Values& values) const {
    const bool decisive = m_kind == Kind::any;
    bool isKnown = true;
    for (const Expression& part : m_parts) {
        const std::optional<bool> one = part.matches(values);
        if (one == decisive) {
            return decisive;
        }
        isKnown = isKnown && one.has_value();
    }
    return isKnown ? std::optional(!decisive) : std::nullopt;
}

bool Expression::holds(const std::string& value) const {
    if (m_kind == Kind::like) {
        return basekit2::path_t(value).match(m_text);
    }
    const int order = m_measure == Measure::any ? compareAny(value, m_text) : value.compare(m_text);
    return isOrdered(order<0, order> 0);
}

bool Expression::holds(std::int64_t value) const {
    return isOrdered(value<m_range.first, value> m_range.last);
}

bool Expression::isOrdered(bool isLess, bool isGreater) const {
    switch (m_kind) {
    case Kind::less:
        return isLess;
    case Kind::lessOrEqual:
        return !isGreater;
    case Kind::greater:
        return isGreater;
    case Kind::greaterOrEqual:
        return !isLess;
    default:
        return !isLess && !isGreater;
    }
}

}  // namespace cli
