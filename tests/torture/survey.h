#pragma once
/// What is in a tree of nodes: read without the library's nodes, so that looking mends nothing.

#include <map>
#include <set>
#include <string>
#include <vector>

#include "basekit2/variant.h"

namespace torture {

/// The property by which a node of the sample is known again, wherever it goes; a copy has it, too.
inline constexpr const char* identityKey = "identity";

struct FoundNode {
    std::string directory;  ///< below the root, as all paths here
    std::string marker;
    std::string identity;  ///< empty when it has none
    std::string backLink;
    basekit2::variant_bag_t section;
    bool isFinalized = false;
    std::map<std::string, std::string>
        files;  ///< of a result, by their paths in it; not the library's
};

struct Survey {
    std::vector<FoundNode> nodes;
    std::map<std::string, std::string> links;  ///< link files and what is in them
    std::set<std::string> damaged;             ///< marker files that cannot be read
    std::set<std::string> temporaries;         ///< of files that were being written
    std::set<std::string> all;                 ///< every entry

    /// The node in `directory`; null when there is none.
    [[nodiscard]] const FoundNode* at(const std::string& directory) const;
    [[nodiscard]] std::vector<const FoundNode*> withIdentity(const std::string& identity) const;
    /// Whether a link file in `group` leads to the marker of the node in `directory`.
    [[nodiscard]] bool isLinked(const std::string& root, const std::string& group,
                                const std::string& directory) const;
};

/// Whether a file belongs to a flag.
bool isFlag(const std::string& path);

Survey survey(const std::string& root);

/// Whether two nodes are the same but for what the library keeps to itself (how they are reached)
/// and the property `except`.
bool isSameNode(const FoundNode& a, const FoundNode& b, const std::string& except = {});

std::string text(const FoundNode& node, const std::string& key);

}  // namespace torture
