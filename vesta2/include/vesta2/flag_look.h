#pragma once
/// A look at the flags of others, for listings: it makes, changes and deletes no file, and drops no
/// lock of this process. Safe from any thread. What it tells may have changed meanwhile; who needs
/// to be sure claims the flag.

#include <string>
#include <vector>

#include "basekit2/variant.h"
#include "vesta2/export.h"

namespace vesta2::util {

enum class flag_state_t {
    free,   ///< there is no such flag, or nothing tells that anybody has it
    held,   ///< its owner lives, perhaps it is this process; or its files cannot be read
    stale,  ///< its owner has ended without giving it up; the next claim takes it over
};

struct FlagLook {
    std::string name;
    flag_state_t state = flag_state_t::free;
    /// Who has it or had it: "timestamp" (seconds since the Epoch), "pid", "ppid", "host", "user",
    /// "os". Empty when that cannot be read.
    basekit2::variant_bag_t record;
};

/// The flag `name` of the node in `directory`.
VESTA2_API FlagLook lookAtFlag(const std::string& directory, const std::string& name);

/// All flags that have a file in `directory`, by name. Throws
/// `boost::filesystem::filesystem_error` when it cannot be listed.
VESTA2_API std::vector<FlagLook> lookAtFlags(const std::string& directory);

}  // namespace vesta2::util
