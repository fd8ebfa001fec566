#include "nodes/flags.h"

#include <algorithm>
#include <boost/filesystem/exception.hpp>
#include <filesystem>
#include <thread>

#include "base/presence.h"
#include "base/text.h"
#include "basekit2/bag_io.h"
#include "vesta2/property_names.h"

namespace cli {

using vesta2::util::flag_state_t;
using vesta2::util::FlagLook;

const char* stateName(flag_state_t state) {
    return state == flag_state_t::held ? "held" : state == flag_state_t::stale ? "stale" : "free";
}

std::optional<FlagOwner> ownerOf(const FlagLook& look) {
    if (look.record().empty()) {
        return std::nullopt;
    }
    namespace record_key = vesta2::record_key;
    const auto text = [&](const char* key) {
        const basekit2::variant_t value = look.record().get_variant(key);
        return value.as_string() ? *value.as_string() : "?";
    };
    return FlagOwner{text(record_key::host), text(record_key::user),
                     look.record().get_variant(record_key::pid).to_int64(),
                     look.record().get_variant(record_key::timestamp).to_int64()};
}

Failure heldFailure(const std::string& directory, const FlagLook& look) {
    std::string who = "another process";
    if (const std::optional<FlagOwner> owner = ownerOf(look)) {
        who = owner->user + ", process " + std::to_string(owner->process) + " on " + owner->host +
              ", since " + localTime(owner->since);
    }
    return {exitLocked, directory, "the flag " + shellQuote(look.name()) + " is held by " + who,
            "wait until that process has ended"};
}

namespace {

void requireFree(const std::string& directory, const FlagLook& look) {
    if (look.state() == flag_state_t::held) {
        throw heldFailure(directory, look);
    }
}

}  // namespace

void requireUnclaimed(vesta2::INode& node) { requireUnclaimed(std::string(node.getPath())); }

void requireUnclaimed(const std::string& directory) {
    // A link that does not tell where its node is stands for no directory, in which nobody could
    // have claimed anything.
    std::error_code ignored;
    if (!isThere(directory) || std::filesystem::is_regular_file(directory, ignored)) {
        return;
    }
    for (const FlagLook& look : vesta2::util::lookAtFlags(directory)) {
        if (look.name() != flags::changing) {
            requireFree(directory, look);
        }
    }
}

void requireUnclaimed(const std::string& directory, const std::vector<const char*>& names) {
    for (const char* name : names) {
        requireFree(directory, vesta2::util::lookAtFlag(directory, name));
    }
}

FlagClaim::FlagClaim(const std::string& directory, const std::string& name,
                     std::chrono::seconds patience, const Pause& pause) {
    using std::chrono::milliseconds;
    using Clock = std::chrono::steady_clock;
    constexpr milliseconds longestPause(200);
    const Clock::time_point end = Clock::now() + patience;
    milliseconds next(5);
    const std::string path = directory + "/" + name;
    m_manager.setDirectory(directory);
    for (;;) {
        basekit2::variant_bag_t record;
        const vesta2::error_t status = m_manager.writeFlag(name.c_str(), false, &record);
        if (status == vesta2::eOK) {
            return;
        }
        if (status == vesta2::eSerializationError) {
            // Only without record locks does a damaged record prevent a claim.
            throw Failure(exitFailure, path, "the files of this flag are damaged",
                          "delete them with 'vesta2 flag clear'");
        }
        if (status != vesta2::eFileLocked) {
            throw Failure::fromWriting(status, path, directory);
        }
        if (Clock::now() >= end) {
            throw heldFailure(directory, {name, flag_state_t::held, record});
        }
        pause(next);
        next = std::min(next * 2, longestPause);
    }
}

namespace {

/// As long as another change may take.
constexpr std::chrono::seconds patience(10);

void sleep(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }

}  // namespace

std::unique_ptr<FlagClaim> claimForChange(const std::string& directory) {
    return std::make_unique<FlagClaim>(directory, flags::changing, patience, sleep);
}

void requireNotLeaving(const std::string& directory) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
        const std::string name = entry.path().filename().native();
        if (basekit2::is_bag_temporary(name) && name.ends_with(basekit2::removal_suffix) &&
            !basekit2::is_left_bag_temporary(name)) {
            throw Failure(exitLocked, entry.path().native(),
                          "its directory is being moved away or deleted",
                          "try again when that has ended; delete this file if its process has died "
                          "on another host");
        }
    }
    if (error) {
        throw Failure::fromErrno(error.value(), directory);
    }
}

std::unique_ptr<FlagClaim> claimForRemoval(const std::string& directory) {
    std::unique_ptr<FlagClaim> claim;
    try {
        claim = claimForChange(directory);
    } catch (const Failure& failure) {
        if (failure.code() == exitLocked) {
            throw;
        }
    }
    requireUnclaimed(directory);
    return claim;
}

FlagClaim::~FlagClaim() {
    try {
        m_manager.eraseAll();
    } catch (const boost::filesystem::filesystem_error&) {
        // The files stay. They are stale when this process has ended.
    }
}

}  // namespace cli
