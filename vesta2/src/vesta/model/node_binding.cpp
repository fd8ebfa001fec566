// The marker file of a node, its group, and its link file in a group elsewhere. The life of a link:
//
//     none ----- the node joins a group elsewhere ----------------------------> linked
//     none ----- its marker names a link file that leads here ----------------> linked
//     linked --- the marker or its checksum is not what the link says --------> stale
//     stale ---- the link file is rewritten ----------------------------------> linked
//     linked, stale --- the node leaves the group ----------------------------> none (deleted)
//     linked, stale --- the link's directory is certainly no group any more --> none
//
// A link file is written, replaced or deleted only when it leads to this node or certainly to none.

#include <string_view>

#include "../discovery/extensions.h"
#include "../foundation/file_checks.h"
#include "../foundation/log.h"
#include "../foundation/path_parts.h"
#include "link_file.h"
#include "marker_io.h"
#include "node_registry.h"
#include "node_state.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"
#include "vesta2/path_completion.h"
#include "vesta2/property_names.h"

namespace vesta2 {
namespace fs = boost::filesystem;
using basekit2::sptr_t;
using Lock = NodeState::Lock;

namespace {

/// What looking for the group that a node belongs to came to.
enum class Membership { member, none, unknown };

/// Making a node opens its group, which opens its own: the recursion needs a bound.
constexpr int mostParents = 64;
thread_local int t_groupDepth = 0;

class Descent {
public:
    Descent() { ++t_groupDepth; }
    ~Descent() { --t_groupDepth; }
    Descent(const Descent&) = delete;
    Descent& operator=(const Descent&) = delete;

    [[nodiscard]] bool isTooDeep() const { return t_groupDepth > mostParents; }
};

NamedMarkers markersOf(const NodeState& node) {
    return {node.markerFilePath, node.formerMarkerFilePath};
}

bool isNotThere(const boost::system::system_error& e) {
    return basekit2::means_absent(e.code().value());
}

/// The link file that the marker names; empty when it names none.
std::string backLinkOf(const NodeState& node) {
    const basekit2::variant_t* link = node.findProperty(property::backlink);
    const std::string* path = link ? link->as_string() : nullptr;
    return path && !path->empty() ? normalPath(*path).native() : std::string();
}

// --- the marker file

void takeName(NodeState& node) {
    const std::string& marker = node.markerFilePath;
    // A link that does not tell where its node is binds the node to itself: the directory around it
    // is another's, and what is done to the node's own must fail.
    const std::string directory = isLink(marker) ? marker : parentOf(normalPath(marker));
    if (directory != node.directory.native()) {
        // Waits for a copy of the node, which holds the manager.
        node.flags.setDirectory(directory);
        node.directory = directory;
    }
    node.userVisibleName = stemOf(nameIn(marker));
    // The marker of a project may keep this name wherever the directory goes.
    if (node.userVisibleName == unnamedProject && hasExtension(marker, projectMarkerFileExt())) {
        node.userVisibleName = stemOf(nameIn(node.directory.native()));
    }
}

void readProperties(NodeState& node) {
    MarkerFile marker = takeMarkerFile(node.markerFilePath, node.properties, node.onlyHome);
    if (!node.linkFilePath.empty() && marker.checksum.digits() != node.checksum.digits()) {
        node.isLinkStale = true;
    }
    node.checksum = std::move(marker.checksum);
    node.home = marker.home;
    node.markerState = marker.state;
    if (!setStatus(marker.state == marker_state_t::read ? eOK : eUnknown)) {
        logError(getStatus(), node.markerFilePath.c_str());
    }
    if (const basekit2::variant_t* output = node.findProperty(property::outputDirectory)) {
        if (const std::string* directory = output->as_string()) {
            node.outputDirectory = *directory;
        }
    }
}

// --- the link file

/// Makes `path` the node's link file and returns the one that it was.
std::string exchangeLinkPath(NodeState& node, std::string path) {
    if (!path.empty()) {
        node.enroll(path);
    }
    std::string former = std::exchange(node.linkFilePath, std::move(path));
    if (former != node.linkFilePath) {
        node.unregister(former);
    }
    return former;
}

/// Takes over a link file after the marker file was read, which has the better checksum.
void adoptLink(NodeState& node, const std::string& path) {
    std::string target;
    Checksum checksum(node.checksum.digits());
    node.setLinkPath(path, target);
    node.checksum = std::move(checksum);
    node.isLinkStale = node.isLinkStale || target != node.markerFilePath;
}

/// Takes over the link file that the marker names, unless that leads to another node: then this one
/// is a copy of it. False when that cannot be known now.
bool followBackLink(NodeState& node) {
    const std::string path = backLinkOf(node);
    if (!node.linkFilePath.empty() || path.empty() || !isNodeLink(path)) {
        return true;
    }
    const LinkFile link = readLinkFile(path);
    const Leads leads = whereLeads(link, markersOf(node));
    if (link.state != marker_state_t::absent && (leads == Leads::here || leads == Leads::nowhere)) {
        adoptLink(node, path);
    }
    return leads != Leads::unknown;
}

/// Whether the node of a marker file that has another name than the link says could be the one that
/// the link stands for. What has come into the directory of a node that was deleted is another: the
/// group would have it as a member, and delete it with its own.
bool mayBeLinkedBy(const std::string& marker, const std::string& link) {
    basekit2::variant_bag_t properties;
    if (readMarkerFile(marker, properties).state != marker_state_t::read) {
        return true;
    }
    const basekit2::variant_bag_t* vesta = properties.get_bag(section::vesta);
    const basekit2::variant_t* backLink = vesta ? vesta->find(property::backlink) : nullptr;
    const std::string* named = backLink ? backLink->as_string() : nullptr;
    return named && !named->empty() && leadToSame(*named, link) != false;
}

void dropLink(const NodeState& node, const std::string& path) {
    if (!path.empty() && leadToSame(path, node.linkFilePath) == false) {
        deleteLinkFile(path, markersOf(node));
    }
}

/// Saves the path of the link file as the property "backlink".
void nameLinkInMarker(NodeState& node) {
    basekit2::variant_bag_t* vesta = node.properties.get_bag(section::vesta);
    const std::string former = node.self.getRdPropStr(property::backlink, "");
    if (!vesta || former == node.linkFilePath) {
        return;
    }
    // As long as another link leads here, too, that counts: groups would take turns, and each save
    // what it has read, whatever others have saved since.
    const Leads leads = whereLeads(readLinkFile(backLinkOf(node)), markersOf(node));
    if (leads == Leads::here || (leads == Leads::unknown && !setStatus(eUnknown))) {
        return;
    }
    vesta->put(property::backlink, node.linkFilePath);
    if (setStatus(node.saveProperties())) {
        return;
    }
    // As on disk, so that the next time tries again.
    vesta->put(property::backlink, former.empty() ? basekit2::variant_t() : former);
}

/// Where the node's link file should be; empty for a node that needs none, because it lies in its
/// parent's directory or has no parent. False when that cannot be told.
bool findWantedLinkPath(const NodeState& node, std::string& wanted) {
    wanted.clear();
    if (!node.parent) {
        return true;
    }
    const fs::path group = node.parent->getPath();
    const std::optional<bool> liesInGroup = leadToSame(parentOf(node.directory), group);
    if (liesInGroup == false) {
        wanted = (group / (std::string(nameIn(node.markerFilePath)) + linkSuffix())).native();
    }
    return liesInGroup.has_value();
}

/// Brings the link file in line with the node's parent and marker file. False, with the status and
/// the link file that was, when that fails.
bool updateLinkFile(NodeState& node) {
    setStatus(eOK);
    std::string wanted;
    if (!findWantedLinkPath(node, wanted)) {
        node.isParentKnown = false;
        return setStatus(eUnknown);
    }
    if (wanted == node.linkFilePath && !node.isLinkStale) {
        return true;
    }
    if (!wanted.empty()) {
        const LinkFile found = readLinkFile(wanted);
        const error_t code = rewriteLinkFile({wanted, NodeState::of(node.parent)->home}, found,
                                             markersOf(node), node.checksum.digits());
        if (code != eOK) {
            node.isParentKnown = node.isParentKnown && found.state != marker_state_t::unreadable;
            if (wanted != node.linkFilePath) {
                // One that was written all the same, but perhaps not to last.
                dropLink(node, wanted);
            }
            return setStatus(code);
        }
    }
    // Only now that the new link stands: at no moment is the node without one.
    const std::string former = exchangeLinkPath(node, wanted);
    if (former != wanted) {
        dropLink(node, former);
    }
    node.isLinkStale = false;
    node.formerMarkerFilePath.clear();
    if (!wanted.empty()) {
        nameLinkInMarker(node);
    }
    return true;
}

/// The directory that holds the node's link file is no group any more. A node that names the link
/// itself may come back with its group, so the file stays.
void leaveGroupThatIsNone(NodeState& node) {
    if (const std::string link = exchangeLinkPath(node, {}); backLinkOf(node) != link) {
        dropLink(node, link);
    }
    node.isLinkStale = false;
}

// --- the parent

/// Whether the chain of parents stays short and free of circles, as the disk need not be.
bool mayBeIn(const NodeState& node, const sptr_t<INode>& group) {
    int parents = 0;
    for (const NodeState* state = NodeState::of(group); state;
         state = NodeState::of(state->parent)) {
        if (state == &node || ++parents > mostParents) {
            logError(eInvalidPath, NodeState::of(group)->markerFilePath.c_str());
            return false;
        }
    }
    return true;
}

/// Makes the node of the group at `groupPath`, if there is one, the parent. Memory may say that
/// there is none where no link hangs on it, to be deleted or not to be made.
Membership adoptParent(NodeState& node, const std::string& groupPath, bool isJoining = false) {
    node.parent.reset();
    const Descent descent;
    if (descent.isTooDeep()) {
        logError(eInvalidPath, groupPath.c_str());
        return Membership::unknown;
    }
    try {
        const bool isLoose = !isJoining && node.linkFilePath.empty();
        GroupLook look =
            lookAtGroup(groupPath, isLoose ? Knowledge::remembered : Knowledge::listed);
        if (look.marker.empty()) {
            return Membership::none;
        }
        if (!look.node || !mayBeIn(node, look.node)) {
            return Membership::unknown;
        }
        node.parent = std::move(look.node);
        return Membership::member;
    } catch (const boost::system::system_error& e) {
        logFailure(e);
        return isNotThere(e) ? Membership::none : Membership::unknown;
    }
}

/// The group that holds the node's link, else the one that it is stored in.
Membership adoptOwnParent(NodeState& node) {
    Membership found = Membership::none;
    if (!node.linkFilePath.empty() && !isAbsent(node.linkFilePath)) {
        found = adoptParent(node, parentOf(node.linkFilePath));
        if (found == Membership::none) {
            leaveGroupThatIsNone(node);
        }
    }
    if (found == Membership::none && !isRoot(node.directory)) {
        found = adoptParent(node, parentOf(node.directory));
    }
    return found;
}

Membership adoptAnyParent(NodeState& node, const char* groupPath) {
    if (groupPath && node.parent && std::string_view(node.parent->getPath()) == groupPath) {
        return Membership::member;
    }
    const Membership told = groupPath ? adoptParent(node, groupPath) : Membership::none;
    return told == Membership::none ? adoptOwnParent(node) : told;
}

/// Enters the group at `groupPath`, and leaves the one before. False, with the status set and the
/// group before kept, when that cannot be.
bool joinGroup(NodeState& node, const std::string& groupPath) {
    if (node.isPlaced && node.parent && groupPath == node.parent->getPath()) {
        return true;
    }
    const sptr_t<INode> former = node.parent;
    if (adoptParent(node, groupPath, true) == Membership::unknown) {
        node.parent = former;
        return setStatus(eUnknown);
    }
    node.isParentKnown = true;
    node.isPlaced = updateLinkFile(node);
    if (!node.isPlaced) {
        node.parent = former;
    }
    return node.isPlaced;
}

/// Finds out where a node that has just been bound belongs, and sees to its link.
void findPlace(NodeState& node, const char* groupPath) {
    const bool isLinkKnown = followBackLink(node);
    node.isParentKnown = adoptAnyParent(node, groupPath) != Membership::unknown && isLinkKnown;
    node.isPlaced = node.isParentKnown && updateLinkFile(node);
    if (groupPath && !node.isPlaced && !node.isLinkStale) {
        // It could not be linked into that group, so it is no member of it.
        const error_t code = getStatus();
        adoptOwnParent(node);
        setStatus(code);
    }
}

}  // namespace

bool NodeState::bind(std::string marker, const char* groupPath) {
    setStatus(eOK);
    if (marker.empty() || isGone()) {
        return false;
    }
    const Lock lock(mutex());
    if (marker == markerFilePath) {
        return !groupPath || joinGroup(*this, groupPath);
    }
    if (const NodeState* other = registered(marker); other && other != this) {
        return setStatus(eAlreadyExists);
    }
    enroll(marker);
    unregister(markerFilePath);
    // The link file, if any, still names the marker file that was.
    isLinkStale = isLinkStale || (!markerFilePath.empty() && !linkFilePath.empty());
    formerMarkerFilePath = std::exchange(markerFilePath, std::move(marker));
    takeName(*this);
    readProperties(*this);
    isParentKnown = markerState != marker_state_t::unreadable;
    if (properties.get_bag(section::vesta)) {
        findPlace(*this, groupPath);
    }
    path = directory.native();
    if (ownGroup) {
        ownGroup->setPath(path);
    }
    return getStatus() == eOK;
}

bool NodeState::setLinkPath(std::string linkPath, std::string& target) {
    setStatus(eOK);
    if (linkPath.empty() || linkPath == linkFilePath) {
        return !linkPath.empty();
    }
    const Lock lock(mutex());
    exchangeLinkPath(*this, std::move(linkPath));
    const LinkFile link = readLinkFile(linkFilePath);
    if (link.state != marker_state_t::read) {
        setStatus(eUnknown);
        return true;
    }
    target = link.target;
    isLinkStale = isLinkStale || target != markerFilePath || link.checksum != checksum.digits();
    checksum = Checksum(link.checksum);
    return true;
}

void NodeState::adoptLinkAndGroup(const std::string& linkPath) {
    adoptLink(*this, linkPath);
    adoptOwnParent(*this);
}

void NodeState::followRenamedMarker() {
    if (!isAbsent(markerFilePath)) {
        return;
    }
    try {
        const Lock lock(mutex());
        const FileSet wanted(fs::path(markerFilePath).extension().native());
        const std::string found = findMarkerFileInDir(directory, wanted);
        if (!found.empty() && (linkFilePath.empty() || mayBeLinkedBy(found, linkFilePath))) {
            bind(found, pathOfParent());
        }
    } catch (const boost::system::system_error& e) {
        if (!isNotThere(e)) {
            failWith(e);
        }
    }
}

}  // namespace vesta2
