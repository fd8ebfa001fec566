#include "nodes/change.h"

#include <linux/magic.h>
#include <sys/statfs.h>

#include <cerrno>
#include <chrono>
#include <nlohmann/json.hpp>
#include <thread>

#include "base/failure.h"
#include "nodes/description.h"
#include "nodes/flags.h"
#include "nodes/node_argument.h"
#include "nodes/node_json.h"
#include "nodes/properties.h"
#include "nodes/selection.h"
#include "output/item_report.h"
#include "vesta2/names.h"
#include "vesta2/node.h"

namespace cli {
namespace {

/// Where a node is, without keeping it open: what is read before the claim may be out of date.
struct Place {
    std::string directory;
    std::string marker;
};

void requireChangeable(const std::string& directory) {
    requireUnclaimed(directory, {flags::collecting, vesta2::flag_name::projectReadOnly});
}

/// Raises `Failure` when the change cannot be made.
Place tryOn(const Member& member, const Change& change) {
    const auto node = openMember(member.marker);
    if (!node) {
        throw Failure::fromErrno(ENOENT, member.marker);
    }
    requirePresent(*node);
    requireReadable(node);
    requireChangeable(node->getPath());
    change(*node);
    return {node->getPath(), node->getMarkerFilePath()};
}

/// Makes the client of a network file system revalidate `path`: its cache may name the file from
/// before the last owner of the flag saved. Returns whether the cached content may be out of date
/// too, as with clients in user space (FUSE), for a second.
bool askServerFor(const std::string& path) {
    struct statfs fileSystem {};
    return ::statfs(path.c_str(), &fileSystem) != 0 || fileSystem.f_type == FUSE_SUPER_MAGIC;
}

/// Opens the node as it is on disk after the claim.
basekit2::sptr_t<vesta2::INode> openClaimed(const Place& place) {
    constexpr std::chrono::milliseconds pause(100);
    constexpr int mostTries = 30;
    for (int attempt = 1;; ++attempt) {
        const bool mayBeWrong = askServerFor(place.marker);
        auto node = namedNode(place.marker);
        const bool isRead = vesta2::Node::markerState(node) == vesta2::marker_state_t::read;
        if (isRead || !mayBeWrong || attempt == mostTries) {
            requireReadable(node);
            return node;
        }
        std::this_thread::sleep_for(pause);
    }
}

}  // namespace

int changeNodes(const std::vector<Member>& members, const Change& change, Session& session) {
    std::vector<Place> places;
    places.reserve(members.size());
    for (const Member& member : members) {
        places.push_back(tryOn(member, change));
    }
    ItemReport report(session, "nodes");
    for (const Place& place : places) {
        const FlagClaim claim = claimForChange(place.directory);
        requireChangeable(place.directory);
        const auto node = openClaimed(place);
        change(*node);
        saveProperties(*node);
        report.add(node->getPath(), [&] { return nodeJson(node); });
    }
    return report.finish();
}

}  // namespace cli
