#pragma once
/// What nodes hold, read from their files: to open a node may change its link.

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "basekit2/variant.h"

namespace cli {

/// The nodes that some words name; what names none, or cannot be looked at, is passed over.
class NamedNodes {
public:
    /// Of many nodes the first are read.
    explicit NamedNodes(const std::vector<std::string>& words);
    /// Of the nodes in a directory, which is an absolute path.
    explicit NamedNodes(const std::string& directory);

    [[nodiscard]] std::set<std::string> keys() const;
    [[nodiscard]] std::set<std::string> tags() const;
    [[nodiscard]] std::set<std::string> flags() const;

private:
    void add(const std::string& marker);

    std::vector<std::string> m_markers;
    std::vector<basekit2::variant_bag_t> m_sections;
};

}  // namespace cli
