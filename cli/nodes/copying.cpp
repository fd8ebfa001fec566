#include "nodes/copying.h"

#include <filesystem>
#include <memory>
#include <set>

#include "base/failure.h"
#include "base/presence.h"
#include "nodes/description.h"
#include "nodes/flags.h"
#include "nodes/node_argument.h"
#include "nodes/node_json.h"
#include "output/item_report.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

/// The node is not kept open: what is read before the claim may be out of date.
struct Copy {
    std::string entry;  ///< its marker or link file
    std::string directory;
    NewPlace place;
};

basekit2::sptr_t<vesta2::INode> make(const Copy& copy, const Copier& copier, Signals& signals) {
    std::unique_ptr<FlagClaim> claim;
    if (copier.takesAway) {
        claim = claimForChange(copy.directory);
        requireUnclaimed(copy.directory);
    }
    requireNotLeaving(copy.directory);
    const auto node = openPresent(copy.entry);
    requireSamePlace(*node, copy.directory);
    return copier.make(node, copy.place, signals);
}

/// Whether the nodes go into the destination. A glob is meant so even when it stands for one node.
bool goInto(const CopyRequest& request, const std::vector<Member>& members) {
    const bool isDirectory = fs::is_directory(request.destination);
    if (members.size() > 1 && !isDirectory) {
        throw Failure(exitUsage, requirePath(request.destination),
                      "is no directory that " + std::to_string(members.size()) +
                          " nodes could be put into",
                      "make it first, or name one node");
    }
    const bool isGlob = namingOf(fs::path(request.node).filename().native()) == Naming::all &&
                        !isThere(request.node);
    return isDirectory && (members.size() > 1 || isGlob);
}

}  // namespace

int copyNodes(const CopyRequest& request, const Copier& copier, Session& session) {
    Signals signals;
    const auto members = selectMembers({{request.node}, request.where}, session);
    const bool areSeveral = goInto(request, members);
    std::vector<Copy> copies;
    std::set<std::string> places;
    for (const Member& member : members) {
        const auto node = openPresent(member.marker);
        const fs::path target = areSeveral ? fs::path(request.destination) / describe(node).name
                                           : fs::path(request.destination);
        copies.push_back(
            {member.marker, node->getPath(), NewPlace(target.native(), *node, copier.exclusions)});
        const NewPlace& place = copies.back().place;
        copier.require(node, place);
        if (!places.insert(place.path()).second) {
            throw Failure(exitExists, place.path(), "two of the nodes would have this place",
                          "give one of them another name with 'vesta2 rename'");
        }
    }
    ItemReport report(session, "nodes");
    for (const Copy& copy : copies) {
        const auto made = make(copy, copier, signals);
        if (!areSeveral) {
            return reportNode(session, made, made->getPath());
        }
        reportItem(report, made);
    }
    return report.finish();
}

}  // namespace cli
