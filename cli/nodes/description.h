#pragma once
/// A summary of a node of any kind.

#include <optional>
#include <string>

#include "base/failure.h"
#include "basekit2/object.h"
#include "vesta2/i_node.h"
#include "vesta2/i_result_directory.h"

namespace cli {

struct Description {
    std::string path;
    std::string name;
    std::string kind;  ///< "result", "experiment" or "project"
    std::string
        state;  ///< as `list --state` takes it; for an experiment or project empty unless damaged
    std::int64_t time = 0;  ///< begin of the collection, else creation; 0 when unknown
    std::string host;
    int rank = -1;
    std::string command;
    /// "linked" or "stale" for a node that is stored elsewhere, else empty; "unknown" when that
    /// could not be looked at.
    std::string link;
    std::optional<Failure> damage;  ///< of an "unreadable" node: what could not be read
};

/// "result", "experiment" or "project".
std::string kindOf(const basekit2::sptr_t<vesta2::INode>& node);

/// Whether the marker file is certainly not there; raises `Failure` when that cannot be told.
bool isMissing(const basekit2::sptr_t<vesta2::INode>& node);

/// Reads the marker file, the state marks and the flag files alone. An error while reading makes
/// the node "unreadable".
Description describe(const basekit2::sptr_t<vesta2::INode>& node);

/// Style of a state's text.
const char* stateStyle(const std::string& state);

/// The "vesta" section; null when there is none.
const basekit2::variant_bag_t* vestaSection(vesta2::INode& node);

/// Raise `Failure` for an "unreadable" node.
void requireReadable(const Description& description);
void requireReadable(const basekit2::sptr_t<vesta2::INode>& node);

}  // namespace cli
