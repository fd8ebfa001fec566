#include <boost/thread/lock_guard.hpp>
#include <string_view>

#include "../foundation/failure.h"
#include "../foundation/file_checks.h"
#include "../foundation/normal_path.h"
#include "basekit2/bag_io.h"
#include "basekit2/md5.h"
#include "property_names.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"
#include "vesta2/node.h"
#include "vesta2/node_group.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::sptr_t;

namespace {

marker_state_t stateOf(int loaded) {
    switch (loaded) {
    case basekit2::bag_ok:
        return marker_state_t::read;
    case basekit2::bag_absent:
        return marker_state_t::absent;
    case basekit2::bag_malformed:
    case basekit2::bag_too_large:
        return marker_state_t::malformed;
    default:
        return marker_state_t::unreadable;
    }
}

}  // namespace

bool Node::setMarkerFilePath(std::string markerFilePath, const char* parentGroupPath) {
    setStatus(eOK);
    if (markerFilePath.empty()) {
        return false;
    }
    if (markerFilePath == m_markerFilePath) {
        if (parentGroupPath &&
            (!m_parent || std::string_view(m_parent->getPath()) != parentGroupPath)) {
            adoptParent(parentGroupPath);
            updateLinkFile();
        }
        return true;
    }
    const boost::lock_guard<boost::recursive_mutex> lock(s_recursiveMutex);
    eraseFromMap(m_markerFilePath);
    // The link file, if any, still names the marker file that was.
    m_linkStale = m_linkStale || (!m_markerFilePath.empty() && !m_linkFilePath.empty());
    takeName(markerFilePath);
    m_markerFilePath = std::move(markerFilePath);
    s_nodeMap[m_markerFilePath] = this;
    readMarkerFile();
    if (const basekit2::variant_t* output = findRdProp(outputDirectoryKey)) {
        if (const std::string* directory = output->as_string()) {
            m_outputDirectory = *directory;
        }
    }
    if (m_properties.get_bag(vestaSection)) {
        if (parentGroupPath) {
            adoptParent(parentGroupPath);
        }
        findParent();
        updateLinkFile();
    }
    m_path = m_directory.native();
    if (m_ownGroup) {
        m_ownGroup->setPath(m_path);
    }
    return getStatus() == eOK;
}

void Node::takeName(const std::string& markerFilePath) {
    const fs::path marker = markerFilePath;
    m_directory = normalPath(marker).parent_path();
    m_flagManager.setDirectory(m_directory.native());
    m_userVisibleName = marker.stem().native();
    // The marker of a project may keep this name wherever the directory goes.
    if (hasExtension(marker, projectMarkerFileExt()) && m_userVisibleName == "config") {
        m_userVisibleName = m_directory.stem().native();
    }
}

void Node::readMarkerFile() {
    // One read serves the checksum and the properties.
    std::string text;
    std::string checksum;
    int result = basekit2::read_bag_text(m_markerFilePath, text);
    if (basekit2::bag_failed(result)) {
        m_properties.clear();
    } else {
        basekit2::md5_t md5;
        md5.update(text);
        checksum = md5.get_digest_base16();
        result = basekit2::load_variant_bag_from_string(m_properties, text);
    }
    if (!m_linkFilePath.empty() && checksum != m_checksum) {
        m_linkStale = true;
    }
    m_checksum = std::move(checksum);
    m_markerState = stateOf(result);
    if (!setStatus(errorFromObxError(result))) {
        VESTA_LOG_ERROR(getStatus(), m_markerFilePath.c_str());
    }
}

void Node::findParent() {
    // What is not named like a link file is not taken for one: an old link file may be deleted.
    const char* backlink = getRdPropStr(backlinkKey, "");
    if (m_linkFilePath.empty() && isLink(backlink)) {
        std::string target;
        setLinkPath(backlink, target);
        m_linkStale = m_linkStale || target != m_markerFilePath;
    }
    if (m_parent) {
        return;
    }
    if (!m_linkFilePath.empty() && isThere(m_linkFilePath)) {
        adoptParent(fs::path(m_linkFilePath).parent_path().native());
    } else if (m_directory.has_relative_path()) {
        adoptParent(m_directory.parent_path().native());
    }
}

void Node::adoptParent(const std::string& groupPath) {
    m_parent.reset();
    try {
        const sptr_t<INodeGroup> group = INodeGroup::open(groupPath.c_str());
        sptr_t<INode> parent = group ? group->getNode() : sptr_t<INode>();
        Node* const node = dynamic_cast<Node*>(parent.get());
        // Links and groups on disk can run in a circle; the parents of open nodes never do.
        if (node && !isAncestorOf(*node)) {
            m_parent = std::move(parent);
        }
    } catch (const boost::system::system_error&) {
        // What would hold the node cannot be looked at: it has no parent then.
        m_parent.reset();
    }
}

bool Node::isAncestorOf(Node& other) const {
    for (const Node* node = &other; node; node = dynamic_cast<Node*>(node->m_parent.get())) {
        if (node == this) {
            return true;
        }
    }
    return false;
}

void Node::checkMarkerFilePath() {
    if (isThere(m_markerFilePath)) {
        return;
    }
    try {
        const FileSet wanted(fs::path(m_markerFilePath).extension().native());
        const std::string found = findMarkerFileInDir(m_directory, wanted);
        if (!found.empty()) {
            setMarkerFilePath(found, m_parent ? m_parent->getPath() : nullptr);
        }
    } catch (const boost::system::system_error& e) {
        VESTA_FAIL_WITH(e);
    }
}

bool Node::isMissing() {
    checkMarkerFilePath();
    return !isThere(m_markerFilePath);
}

bool Node::changeMarkerFilePath(const char* newMarker) {
    if (m_linkFilePath.empty() || !newMarker || !isThere(m_linkFilePath) || !isMissing() ||
        !isThere(newMarker)) {
        return false;
    }
    return setMarkerFilePath(newMarker, m_parent ? m_parent->getPath() : nullptr);
}

bool Node::changeUserVisibleName(const char* name) {
    const fs::path marker = m_markerFilePath;
    if (!setStatus(validateFileName(name))) {
        return false;
    }
    try {
        const fs::path renamed = marker.parent_path() / (name + marker.extension().native());
        if (renamed != marker && isThere(renamed)) {
            return setStatus(eAlreadyExists);
        }
        fs::rename(marker, renamed);
        return setMarkerFilePath(renamed.native(), m_parent ? m_parent->getPath() : nullptr);
    } catch (const boost::system::system_error& e) {
        return VESTA_FAIL_WITH(e);
    }
}

}  // namespace vesta2
