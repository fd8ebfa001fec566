// The life of a link file:
//
//     none ----- the node joins a group elsewhere ----------------------------> linked
//     none ----- its marker names a link file that leads here ----------------> linked
//     linked --- the marker or its checksum is not what the link says --------> stale
//     stale ---- the link file is rewritten ----------------------------------> linked
//     linked, stale --- the node leaves the group ----------------------------> none (deleted)
//     linked, stale --- the link's directory is certainly no group any more --> none
//
// A link file is written, replaced or deleted only when it leads to this node or certainly to none.

#include "node_link.h"

#include <utility>

#include "../discovery/extensions.h"
#include "../foundation/file_checks.h"
#include "../foundation/path_parts.h"
#include "link_file.h"
#include "marker_io.h"
#include "vesta2/path_completion.h"
#include "vesta2/property_names.h"

namespace vesta2 {

namespace fs = boost::filesystem;

namespace {

NamedMarkers markersOf(const NodeState& node) {
    return {node.markerFilePath, node.formerMarkerFilePath};
}

/// The link file that a marker names with that property; empty when it names none.
std::string backLinkIn(const basekit2::variant_t* link) {
    const std::string* path = link ? link->as_string() : nullptr;
    return path && !path->empty() ? normalPath(*path).native() : std::string();
}

std::string backLinkOf(const NodeState& node) {
    return backLinkIn(node.findProperty(property::backlink));
}

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

}  // namespace

void adoptLink(NodeState& node, const std::string& path) {
    std::string target;
    Checksum checksum(node.checksum.digits());
    node.setLinkPath(path, target);
    node.checksum = std::move(checksum);
    node.isLinkStale = node.isLinkStale || target != node.markerFilePath;
}

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

bool mayBeLinkedBy(const std::string& marker, const std::string& link) {
    basekit2::variant_bag_t properties;
    if (readMarkerFile(marker, properties).state != marker_state_t::read) {
        return true;
    }
    const basekit2::variant_bag_t* vesta = properties.get_bag(section::vesta);
    const std::string named = backLinkIn(vesta ? vesta->find(property::backlink) : nullptr);
    return !named.empty() && leadToSame(named, link) != false;
}

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

void leaveGroupThatIsNone(NodeState& node) {
    if (const std::string link = exchangeLinkPath(node, {}); backLinkOf(node) != link) {
        dropLink(node, link);
    }
    node.isLinkStale = false;
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

}  // namespace vesta2
