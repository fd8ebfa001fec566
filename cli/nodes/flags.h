#pragma once
/// Claims on nodes, between processes and hosts.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/failure.h"
#include "vesta2/flag_look.h"
#include "vesta2/flag_manager.h"
#include "vesta2/i_node.h"

namespace cli {

namespace flags {
/// A result is being collected.
inline constexpr const char* collecting = "collecting";
/// The node is being changed.
inline constexpr const char* changing = "changing";
}  // namespace flags

/// "held", "stale" or "free".
const char* stateName(vesta2::util::flag_state_t state);

/// Who has a flag, or had it.
struct FlagOwner {
    std::string host;
    std::string user;
    std::int64_t process = 0;
    std::int64_t since = 0;
};
/// Nothing when the flag has no record.
std::optional<FlagOwner> ownerOf(const vesta2::util::FlagLook& look);

/// The error for a flag of the node in `directory` that another process holds.
Failure heldFailure(const std::string& directory, const vesta2::util::FlagLook& look);

/// Raise `Failure` when a process holds a flag of the node: one of `names`, or else any but
/// `changing`, for whose end a claim waits. Flags of the nodes in it do not count.
void requireUnclaimed(vesta2::INode& node);
void requireUnclaimed(const std::string& directory);
void requireUnclaimed(const std::string& directory, const std::vector<const char*>& names);

/// A flag that is held as long as the object lives.
class FlagClaim {
public:
    /// Lets time pass between two tries; may raise `Failure` to give up.
    using Pause = std::function<void(std::chrono::milliseconds)>;

    /// Claims the flag `name` of the node in `directory`. When another process has it, waits for
    /// `patience`, and then raises `Failure`.
    FlagClaim(const std::string& directory, const std::string& name, std::chrono::seconds patience,
              const Pause& pause);
    ~FlagClaim();
    FlagClaim(const FlagClaim&) = delete;
    FlagClaim& operator=(const FlagClaim&) = delete;

private:
    vesta2::util::FlagManager m_manager;
};

/// Claims the node in `directory` for a change to it. Waits as long as another change may take, and
/// then raises `Failure`.
std::unique_ptr<FlagClaim> claimForChange(const std::string& directory);

/// Raises `Failure` when a process is moving the node in `directory` away, or deletes it: a claim
/// can come in between, and what is there is a part.
void requireNotLeaving(const std::string& directory);

/// Claims the node in `directory`, which is to be deleted; empty where that cannot be, as on a full
/// disk. Raises `Failure` when others have claimed it.
std::unique_ptr<FlagClaim> claimForRemoval(const std::string& directory);

}  // namespace cli
