// The link file that stands for a node in a group elsewhere.
//
//   unlinked --(told to join a group elsewhere, or a back link that leads here)--> linked
//   linked ----(the marker or its checksum is no longer what the link says)------> stale
//   stale -----(the link file is rewritten)--------------------------------------> linked
//   linked, stale --(told to leave; or the link's directory is no group)---------> unlinked
//
// A link file is written, replaced or deleted only when it leads to this node or certainly to none.

#include <boost/thread/lock_guard.hpp>

#include "../foundation/failure.h"
#include "../foundation/file_checks.h"
#include "../foundation/normal_path.h"
#include "basekit2/bag_io.h"
#include "link_file.h"
#include "vesta2/names.h"
#include "vesta2/node.h"
#include "vesta2/property_names.h"

namespace vesta2 {

namespace fs = boost::filesystem;

namespace {

using Lock = boost::lock_guard<boost::recursive_mutex>;

/// Whether both name the same file of one directory. Two names of one file (hard links) are two.
bool isSameFile(const std::string& a, const std::string& b) {
    const std::size_t slashA = a.rfind('/') + 1;
    const std::size_t slashB = b.rfind('/') + 1;
    return a == b || (a.compare(slashA, a.npos, b, slashB, b.npos) == 0 &&
                      leadToSame(a.substr(0, slashA), b.substr(0, slashB)) == true);
}

}  // namespace

bool Node::setLinkPath(std::string linkPath, std::string& target) {
    setStatus(eOK);
    if (linkPath.empty()) {
        return false;
    }
    if (linkPath == m_linkFilePath) {
        return true;
    }
    const Lock lock(s_recursiveMutex);
    takeLinkPath(std::move(linkPath));
    const LinkFile link = readLinkFile(m_linkFilePath);
    if (link.state != marker_state_t::read) {
        setStatus(eUnknown);
        return true;
    }
    target = link.target;
    m_linkStale = m_linkStale || target != m_markerFilePath || link.checksum != m_checksum;
    m_checksum = link.checksum;
    return true;
}

/// Makes `linkPath` the node's link file and returns the one that it was.
std::string Node::takeLinkPath(std::string linkPath) {
    if (!linkPath.empty()) {
        s_nodeMap[linkPath] = this;
    }
    std::string former = std::exchange(m_linkFilePath, std::move(linkPath));
    if (former != m_linkFilePath) {
        unregister(former);
    }
    return former;
}

/// Takes over a link file when the marker file has been read already: its checksum is the better
/// one.
void Node::adoptLink(const std::string& linkPath) {
    std::string target;
    std::string checksum = m_checksum;
    setLinkPath(linkPath, target);
    m_checksum = std::move(checksum);
    m_linkStale = m_linkStale || target != m_markerFilePath;
}

/// Takes over the link file that the marker names, unless that leads to another node: then this one
/// is a copy of it. False when that cannot be known now.
bool Node::followBackLink() {
    const std::string link = normalPath(getRdPropStr(property::backlink, "")).native();
    if (!m_linkFilePath.empty() || !isNodeLink(link)) {
        return true;
    }
    const LinkFile file = readLinkFile(link);
    const Leads leads = whereLeads(file);
    if (file.state != marker_state_t::absent && (leads == Leads::here || leads == Leads::nowhere)) {
        adoptLink(link);
    }
    return leads != Leads::unknown;
}

bool Node::isNamed(const std::string& markerFilePath) const {
    return isSameFile(markerFilePath, m_markerFilePath) ||
           (!m_formerMarkerFilePath.empty() && isSameFile(markerFilePath, m_formerMarkerFilePath));
}

Node::Leads Node::whereLeads(const LinkFile& link) const {
    switch (link.state) {
    case marker_state_t::absent:
    case marker_state_t::malformed:
        return Leads::nowhere;
    case marker_state_t::unreadable:
        return Leads::unknown;
    case marker_state_t::read:
        break;
    }
    if (isNamed(link.target)) {
        return Leads::here;
    }
    return isAbsent(link.target) ? Leads::nowhere : Leads::elsewhere;
}

/// The directory that holds the node's link file is no group any more. A node that names the link
/// itself may come back with its group, so the file stays.
void Node::leaveGroupThatIsNone() {
    const std::string link = takeLinkPath({});
    if (normalPath(getRdPropStr(property::backlink, "")).native() != link) {
        dropLinkFile(link);
    }
    m_linkStale = false;
}

/// Brings the link file in line with the node's parent and marker file. False, with the status and
/// the link file that was, when that fails.
bool Node::updateLinkFile() {
    setStatus(eOK);
    const Lock lock(s_recursiveMutex);
    std::string wanted;
    if (!findWantedLinkPath(wanted)) {
        m_isParentKnown = false;
        return setStatus(eUnknown);
    }
    if (wanted == m_linkFilePath && !m_linkStale) {
        return true;
    }
    if (!wanted.empty() && !writeLinkFile(wanted)) {
        const error_t code = getStatus();
        if (wanted != m_linkFilePath) {
            // One that was written all the same, but perhaps not to last.
            dropLinkFile(wanted);
        }
        return setStatus(code);
    }
    // Only now that the new link stands: at no moment is the node without one.
    const std::string former = takeLinkPath(wanted);
    if (former != wanted) {
        dropLinkFile(former);
    }
    m_linkStale = false;
    m_formerMarkerFilePath.clear();
    if (!wanted.empty()) {
        nameLinkInMarker();
    }
    return true;
}

/// Where the node's link file should be; empty for a node that needs none, because it lies in its
/// parent's directory or has no parent. False when that cannot be told.
bool Node::findWantedLinkPath(std::string& wanted) const {
    wanted.clear();
    if (!m_parent) {
        return true;
    }
    const fs::path group = m_parent->getPath();
    const std::optional<bool> liesInGroup = leadToSame(m_directory.parent_path(), group);
    if (liesInGroup == false) {
        wanted = (group / (markerFileName() + linkSuffix())).native();
    }
    return liesInGroup.has_value();
}

/// Whether its group can hold a link to the node when it lies in `directory` and its marker has
/// that name; the status is set.
bool Node::canBeLinkedFrom(const fs::path& directory, const std::string& markerName) const {
    const Lock lock(s_recursiveMutex);
    if (!m_isParentKnown) {
        return setStatus(eUnknown);
    }
    if (!m_parent) {
        return setStatus(eOK);
    }
    const fs::path group = m_parent->getPath();
    if (leadToSame(directory.parent_path(), group) == true) {
        return setStatus(eOK);
    }
    const Leads leads = whereLeads(readLinkFile((group / (markerName + linkSuffix())).native()));
    return setStatus(leads == Leads::elsewhere ? eAlreadyExists
                     : leads == Leads::unknown ? eUnknown
                                               : eOK);
}

bool Node::writeLinkFile(const std::string& path) {
    const LinkFile present = readLinkFile(path);
    // What says the same already is left alone: looking at a linked node writes nothing.
    if (present.state == marker_state_t::read && present.target == m_markerFilePath &&
        present.checksum == m_checksum) {
        return true;
    }
    switch (whereLeads(present)) {
    case Leads::here:
    case Leads::nowhere:
        return setStatus(saveLinkFile(path, m_markerFilePath, m_checksum,
                                      present.state == marker_state_t::absent));
    case Leads::elsewhere:
        return setStatus(eAlreadyExists);
    case Leads::unknown:
        m_isParentKnown = false;
        break;
    }
    return setStatus(eUnknown);
}

/// Deletes a link file that was this node's.
void Node::dropLinkFile(const std::string& path) const {
    if (path.empty() || leadToSame(path, m_linkFilePath) != false) {
        return;
    }
    const Leads leads = whereLeads(readLinkFile(path));
    if (leads == Leads::here || leads == Leads::nowhere) {
        boost::system::error_code ignored;
        fs::remove(path, ignored);
    }
}

void Node::nameLinkInMarker() {
    basekit2::variant_bag_t* vesta = m_properties.get_bag(section::vesta);
    const std::string former = getRdPropStr(property::backlink, "");
    if (!vesta || former == m_linkFilePath) {
        return;
    }
    vesta->put(property::backlink, m_linkFilePath);
    if (setStatus(saveProperties())) {
        return;
    }
    // As on disk, so that the next time tries again.
    if (former.empty()) {
        vesta->remove(property::backlink);
    } else {
        vesta->put(property::backlink, former);
    }
}

bool Node::isLinked() { return !m_linkFilePath.empty(); }

bool Node::isLinkStale() { return m_linkStale; }

const char* Node::getLinkFilePath() { return m_linkFilePath.c_str(); }

}  // namespace vesta2
