#pragma once
/// What is in a tree of nodes: read without the library's nodes, so that looking mends nothing.

#include <map>
#include <set>
#include <string>

namespace torture {

using Texts = std::map<std::string, std::string>;

/// Without digits in what is recorded, so that two runs of a command make the same.
struct FoundNode {
    /// The property by which a node of the sample is known again, wherever it goes; a copy has it.
    std::string identity;
    std::string section;  ///< its properties, but not how it is reached
    bool isFinalized = false;
    bool isInvalid = false;
    Texts files;  ///< of a result: all that is in there, but for these marks and its marker

    bool operator==(const FoundNode&) const = default;
};

struct Survey {
    std::map<std::string, FoundNode> nodes;  ///< by their directories, below the root as all paths
    Texts backLinks;                         ///< of those that have one, by their directories
    Texts members;                           ///< those that a listing of "p" shows: identities
    bool isListed = false;                   ///< whether there was a listing; it comes last
    std::set<std::string> findings;          ///< of a check: kind and path
    std::set<std::string> damaged;           ///< marker files that cannot be read
    std::set<std::string> temporaries;       ///< of files that were being written
    Texts all;                               ///< every other entry, but for flags
};

Survey survey(const std::string& root);

}  // namespace torture
