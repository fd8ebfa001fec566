// The marker file of a node, and the group that it belongs to.

#include <string_view>

#include "../discovery/extensions.h"
#include "../foundation/file_checks.h"
#include "../foundation/log.h"
#include "../foundation/path_parts.h"
#include "marker_io.h"
#include "node_link.h"
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

bool isNotThere(const boost::system::system_error& e) {
    return basekit2::means_absent(e.code().value());
}

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
