#include "nodes/change.h"

#include <linux/magic.h>
#include <sys/statfs.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>

#include "base/failure.h"
#include "nodes/node_argument.h"
#include "nodes/node_json.h"
#include "nodes/properties.h"
#include "vesta2/names.h"
#include "vesta2/node.h"

namespace cli {
namespace {

using NodeHandle = basekit2::sptr_t<vesta2::INode>;

/// Where a node is, without keeping it open: what is read before the claim may be out of date.
struct Place {
    std::string entry;  ///< its marker or link file, by which it is opened
    std::string directory;
    std::string marker;
    bool isDue = false;
};

Place lookAt(const Member& member, const Treatment& treatment) {
    const NodeHandle node = openPresent(member.marker);
    const Description description = describe(node);
    requireReadable(description);
    treatment.requireFree(node->getPath());
    const bool isDue = treatment.isDue(node, description);
    return {member.marker, node->getPath(), node->getMarkerFilePath(), isDue};
}

/// Makes the client of a network file system revalidate `path`: its cache may name the file from
/// before the last owner of the flag saved. Returns whether the cached content may be out of date
/// too, as with clients in user space (FUSE), for a second.
bool askServerFor(const std::string& path) {
    struct statfs fileSystem {};
    return ::statfs(path.c_str(), &fileSystem) != 0 || fileSystem.f_type == FUSE_SUPER_MAGIC;
}

/// Opens the node as it is on disk after the claim.
NodeHandle openClaimed(const Place& place) {
    constexpr std::chrono::milliseconds pause(100);
    constexpr int mostTries = 30;
    for (int attempt = 1;; ++attempt) {
        const bool mayBeWrong = askServerFor(place.marker);
        NodeHandle node = openPresent(place.entry);
        requireSamePlace(*node, place.directory);
        const bool isRead = vesta2::Node::markerState(node) == vesta2::marker_state_t::read;
        if (isRead || !mayBeWrong || attempt == mostTries) {
            return node;
        }
        std::this_thread::sleep_for(pause);
    }
}

void treat(const Place& place, const Treatment& treatment, ItemReport& report) {
    const auto claim = claimForChange(place.directory);
    treatment.requireFree(place.directory);
    requireNotLeaving(place.directory);
    NodeHandle node = openClaimed(place);
    const Description description = describe(node);
    requireReadable(description);
    if (treatment.isDue(node, description)) {
        treatment.apply(node, report);
    } else {
        reportItem(report, node);
    }
}

}  // namespace

int treatNodes(const std::vector<Member>& members, const Treatment& treatment, Session& session) {
    std::vector<Place> places;
    std::set<std::string> seen;
    for (const Member& member : members) {
        Place place = lookAt(member, treatment);
        if (seen.insert(place.directory).second) {
            places.push_back(std::move(place));
        }
    }
    ItemReport report(session, "nodes");
    for (const Place& place : places) {
        if (place.isDue) {
            treat(place, treatment, report);
        } else {
            reportItem(report, openPresent(place.entry));
        }
    }
    return report.finish();
}

int changeNodes(const std::vector<Member>& members, const Change& change, Session& session) {
    const Treatment treatment{
        [&](const NodeHandle& node, const Description&) {
            change(*node);
            return true;
        },
        [](NodeHandle& node, ItemReport& report) {
            saveProperties(*node);
            reportItem(report, node);
        },
        [](const std::string& directory) {
            requireUnclaimed(directory, {flags::collecting, vesta2::flag_name::projectReadOnly});
        }};
    return treatNodes(members, treatment, session);
}

}  // namespace cli
