#pragma once
/// Which nodes are meant, in words: `state=finalized and (elapsed>2s or not name=~r0*)`.

#include <cstddef>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "select/value.h"

namespace cli {

/// Where an expression is none. The column counts bytes from 1.
struct SyntaxError : std::runtime_error {
    SyntaxError(std::size_t where, const std::string& problem)
        : std::runtime_error(problem), column(where + 1) {}
    std::size_t column;
};

/// An expression is a comparison (KEY OPERATOR VALUE), a KEY alone, which asks whether the node has
/// it, or others joined by "and", "or", "not" and parentheses. "and" binds closer than "or". The
/// operators are = != < <= > >= and, with a glob, =~ and !~. What holds blanks, parentheses or
/// operators stands in quotes; a quote within is doubled.
///
/// What a node does not have is equal to nothing, and neither less nor greater. What could not be
/// read leaves open whether the node is meant, unless the rest decides.
class Expression {
public:
    /// The value of a key of the node that is asked about.
    using Values = std::function<Value(const std::string& key)>;

    /// Raises `SyntaxError`.
    explicit Expression(std::string_view text);

    /// Nothing when that cannot be told.
    [[nodiscard]] std::optional<bool> matches(const Values& values) const;

private:
    friend class ExpressionParser;
    enum class Kind {
        all,
        any,
        negation,
        presence,
        equal,
        like,
        less,
        lessOrEqual,
        greater,
        greaterOrEqual
    };

    Expression(Kind kind, std::vector<Expression> parts)
        : m_kind(kind), m_parts(std::move(parts)) {}

    [[nodiscard]] std::optional<bool> matchesParts(const Values& values) const;
    [[nodiscard]] bool holds(const std::string& value) const;
    [[nodiscard]] bool holds(std::int64_t value) const;
    [[nodiscard]] bool isOrdered(bool isLess, bool isGreater) const;

    Kind m_kind;
    std::vector<Expression> m_parts;  ///< of the first three
    std::string m_key;                ///< of the others:
    std::string m_text;
    Measure m_measure = Measure::text;
    Range m_range;  ///< what the text stands for, when it is measured
};

}  // namespace cli
