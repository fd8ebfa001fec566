#include "nodes/filter.h"

#include <algorithm>

#include "base/spelling.h"
#include "base/text.h"
#include "nodes/facts.h"
#include "select/keys.h"

namespace cli {

Filter::Filter(const std::vector<std::string>& expressions) {
    for (const std::string& expression : expressions) {
        try {
            m_expressions.emplace_back(expression);
        } catch (const SyntaxError& error) {
            throw Failure(exitUsage, {},
                          "--where " + shellQuote(expression) + ", column " +
                              std::to_string(error.column) + ": " + error.what(),
                          "write it as in --where 'state=finalized and elapsed>2s'");
        }
    }
}

std::optional<bool> Filter::selects(vesta2::INode& node, const Description& description) {
    const auto values = [&](const std::string& key) {
        Value value = valueOf(node, description, key);
        m_keys.add(key, value);
        return value;
    };
    bool isKnown = true;
    for (const Expression& expression : m_expressions) {
        const std::optional<bool> holds = expression.matches(values);
        if (holds == false) {
            return false;
        }
        isKnown = isKnown && holds;
    }
    return isKnown ? std::optional(true) : std::nullopt;
}

std::vector<std::string> KeyUse::unused() const {
    const std::vector<std::string> facts = factNames();
    std::vector<std::string> problems;
    for (const auto& [key, isUsed] : m_keys) {
        if (isUsed || std::ranges::count(facts, key) != 0) {
            continue;
        }
        const std::string guess = nearest(key, facts);
        problems.push_back("no node has the property " + shellQuote(escapeText(key)) +
                           (guess.empty() ? "" : "; did you mean '" + guess + "'?"));
    }
    return problems;
}

void KeyUse::noteUnused(const Session& session) const {
    for (const std::string& problem : unused()) {
        session.note(problem);
    }
}

void KeyUse::requireUsed() const {
    if (const std::vector<std::string> problems = unused(); !problems.empty()) {
        throw Failure(exitUsage, {}, "--where: " + problems.front(),
                      "nothing was done; 'vesta2 show' tells what a node has");
    }
}

}  // namespace cli
