#pragma once
/// The nodes that "--where" selects.

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "nodes/description.h"
#include "output/session.h"
#include "select/expression.h"

namespace cli {

/// Which keys were asked for, and whether a node had them.
class KeyUse {
public:
    void add(const std::string& key, const Value& value) {
        m_keys[key] |= !std::holds_alternative<std::monostate>(value);
    }
    /// Says which none of the nodes had: they may be misspelled.
    void noteUnused(const Session& session) const;
    /// Raises `Failure` for one that none of the nodes had.
    void requireUsed() const;

private:
    /// What is wrong with each of them.
    [[nodiscard]] std::vector<std::string> unused() const;

    std::map<std::string, bool> m_keys;
};

class Filter {
public:
    /// Selects what all of `expressions` hold for. Raises `Failure` for one that is none, with the
    /// column.
    explicit Filter(const std::vector<std::string>& expressions);

    [[nodiscard]] bool takesAll() const { return m_expressions.empty(); }
    /// Nothing when that cannot be told, because the node could not be read.
    std::optional<bool> selects(vesta2::INode& node, const Description& description);
    void noteUnusedKeys(const Session& session) const { m_keys.noteUnused(session); }
    /// Where something is done to what is selected: `not stat=finalized` holds for all nodes.
    void requireUsedKeys() const { m_keys.requireUsed(); }

private:
    std::vector<Expression> m_expressions;
    KeyUse m_keys;
};

}  // namespace cli
