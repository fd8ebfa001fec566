// The marker file that a node is bound to, and the group that it belongs to.

#include <fcntl.h>

#include <boost/thread/lock_guard.hpp>
#include <string_view>

#include "../foundation/failure.h"
#include "../foundation/file_checks.h"
#include "../foundation/normal_path.h"
#include "../tree/tree_error.h"
#include "basekit2/bag_io.h"
#include "basekit2/files.h"
#include "basekit2/md5.h"
#include "group_look.h"
#include "link_file.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"
#include "vesta2/node.h"
#include "vesta2/node_group.h"
#include "vesta2/path_completion.h"
#include "vesta2/property_names.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::sptr_t;

namespace {

using Lock = boost::lock_guard<boost::recursive_mutex>;

/// Groups are opened while a node is made, and their own groups in turn: a chain on disk may be
/// longer than the stack.
constexpr int mostParents = 64;

thread_local int t_depth = 0;

class Descent {
public:
    Descent() { ++t_depth; }
    ~Descent() { --t_depth; }
    Descent(const Descent&) = delete;
    Descent& operator=(const Descent&) = delete;

    [[nodiscard]] bool isTooDeep() const { return t_depth > mostParents; }
};

bool isNotThere(const boost::system::system_error& e) { return meansAbsent(e.code().value()); }

}  // namespace

bool Node::setMarkerFilePath(std::string markerFilePath, const char* parentGroupPath) {
    setStatus(eOK);
    if (markerFilePath.empty()) {
        return false;
    }
    if (isGone()) {
        return false;
    }
    const Lock lock(s_recursiveMutex);
    if (markerFilePath == m_markerFilePath) {
        return !parentGroupPath || joinGroup(parentGroupPath);
    }
    if (const Node* other = registered(markerFilePath); other && other != this) {
        return setStatus(eAlreadyExists);
    }
    s_nodeMap[markerFilePath] = this;
    unregister(m_markerFilePath);
    // The link file, if any, still names the marker file that was.
    m_linkStale = m_linkStale || (!m_markerFilePath.empty() && !m_linkFilePath.empty());
    m_formerMarkerFilePath = std::exchange(m_markerFilePath, std::move(markerFilePath));
    takeName(m_markerFilePath);
    readMarkerFile();
    if (const basekit2::variant_t* output = findRdProp(property::outputDirectory)) {
        if (const std::string* directory = output->as_string()) {
            m_outputDirectory = *directory;
        }
    }
    m_isParentKnown = m_markerState != marker_state_t::unreadable;
    if (m_properties.get_bag(section::vesta)) {
        const bool isLinkKnown = followBackLink();
        m_isParentKnown = adoptAnyParent(parentGroupPath) != Membership::unknown && isLinkKnown;
        m_isPlaced = m_isParentKnown && updateLinkFile();
        if (parentGroupPath && !m_isPlaced && !m_linkStale) {
            // It could not be linked into that group, so it is no member of it.
            const error_t code = getStatus();
            adoptOwnParent();
            setStatus(code);
        }
    }
    m_path = m_directory.native();
    if (m_ownGroup) {
        m_ownGroup->setPath(m_path);
    }
    return getStatus() == eOK;
}

void Node::takeName(const std::string& markerFilePath) {
    const fs::path marker = markerFilePath;
    // A link that does not tell where its node is binds the node to itself. The directory around it
    // is another's, so that what is done to the node's own must fail.
    const bool isPlaceless = isLink(markerFilePath);
    fs::path directory = isPlaceless ? marker : normalPath(marker).parent_path();
    if (directory.native() != m_directory.native()) {
        // Waits for a copy of the node, which holds the manager.
        m_flagManager.setDirectory(directory.native());
        m_directory = std::move(directory);
    }
    m_userVisibleName = marker.stem().native();
    // The marker of a project may keep this name wherever the directory goes.
    if (hasExtension(marker, projectMarkerFileExt()) && m_userVisibleName == unnamedProject) {
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
    m_markerState = stateOfLoad(result);
    if (!setStatus(errorFromObxError(result))) {
        VESTA_LOG_ERROR(getStatus(), m_markerFilePath.c_str());
    }
}

Node::Membership Node::adoptAnyParent(const char* groupPath) {
    if (groupPath && m_parent && std::string_view(m_parent->getPath()) == groupPath) {
        return Membership::member;
    }
    const Membership told = groupPath ? adoptParent(groupPath) : Membership::none;
    return told == Membership::none ? adoptOwnParent() : told;
}

/// The group that holds the node's link, else the one that it is stored in.
Node::Membership Node::adoptOwnParent() {
    Membership found = Membership::none;
    if (!m_linkFilePath.empty() && !isAbsent(m_linkFilePath)) {
        found = adoptParent(fs::path(m_linkFilePath).parent_path().native());
        if (found == Membership::none) {
            leaveGroupThatIsNone();
        }
    }
    if (found == Membership::none && m_directory.has_relative_path()) {
        found = adoptParent(m_directory.parent_path().native());
    }
    return found;
}

/// Makes the node of the group at `groupPath`, if there is one, the parent.
Node::Membership Node::adoptParent(const std::string& groupPath) {
    m_parent.reset();
    const Descent descent;
    if (descent.isTooDeep()) {
        VESTA_LOG_ERROR(eInvalidPath, groupPath.c_str());
        return Membership::unknown;
    }
    try {
        GroupLook look = lookAtGroup(groupPath);
        if (look.marker.empty()) {
            return Membership::none;
        }
        Node* const group = dynamic_cast<Node*>(look.node.get());
        if (!group || !mayBeIn(*group)) {
            return Membership::unknown;
        }
        m_parent = std::move(look.node);
        return Membership::member;
    } catch (const boost::system::system_error& e) {
        logError(Severity::error, errorFromBoostError(e), e.what(), __LINE__);
        return isNotThere(e) ? Membership::none : Membership::unknown;
    }
}

/// Whether the chain of parents stays short and free of circles, which links and groups on disk
/// need not be.
bool Node::mayBeIn(Node& group) const {
    int parents = 0;
    for (const Node* node = &group; node; node = dynamic_cast<Node*>(node->m_parent.get())) {
        if (node == this || ++parents > mostParents) {
            VESTA_LOG_ERROR(eInvalidPath, group.m_markerFilePath.c_str());
            return false;
        }
    }
    return true;
}

/// Enters the group at `groupPath`, and leaves the one before. False, with the status set and the
/// group before kept, when that cannot be.
bool Node::joinGroup(const std::string& groupPath) {
    if (m_isPlaced && m_parent && groupPath == m_parent->getPath()) {
        return true;
    }
    const sptr_t<INode> former = m_parent;
    if (adoptParent(groupPath) == Membership::unknown) {
        m_parent = former;
        return setStatus(eUnknown);
    }
    m_isParentKnown = true;
    m_isPlaced = updateLinkFile();
    if (!m_isPlaced) {
        m_parent = former;
    }
    return m_isPlaced;
}

sptr_t<INode> Node::getParent() {
    const Lock lock(s_recursiveMutex);
    return m_parent;
}

bool Node::setParent(const char* parentDir) {
    const Lock lock(s_recursiveMutex);
    return setMarkerFilePath(m_markerFilePath, parentDir);
}

void Node::checkMarkerFilePath() {
    if (!isAbsent(m_markerFilePath)) {
        return;
    }
    try {
        const Lock lock(s_recursiveMutex);
        const FileSet wanted(fs::path(m_markerFilePath).extension().native());
        const std::string found = findMarkerFileInDir(m_directory, wanted);
        if (!found.empty()) {
            setMarkerFilePath(found, m_parent ? m_parent->getPath() : nullptr);
        }
    } catch (const boost::system::system_error& e) {
        if (!isNotThere(e)) {
            VESTA_FAIL_WITH(e);
        }
    }
}

bool Node::isMissing() {
    checkMarkerFilePath();
    return !isThere(m_markerFilePath);
}

bool Node::changeMarkerFilePath(const char* newMarker) {
    const error_t before = getStatus();
    const Lock lock(s_recursiveMutex);
    if (m_linkFilePath.empty() || !newMarker || !*newMarker || !isThere(m_linkFilePath) ||
        !isMissing() || !isAbsent(m_markerFilePath) || !isThere(newMarker)) {
        setStatus(before);
        return false;
    }
    try {
        const std::string marker = normalPath(completePath(newMarker, nullptr)).native();
        return setMarkerFilePath(marker, m_parent ? m_parent->getPath() : nullptr);
    } catch (const boost::system::system_error& e) {
        return VESTA_FAIL_WITH(e);
    }
}

bool Node::changeUserVisibleName(const char* name) {
    if (!setStatus(m_removed ? eNotFound : validateFileName(name))) {
        return false;
    }
    const Lock lock(s_recursiveMutex);
    const fs::path marker = m_markerFilePath;
    const fs::path renamed = marker.parent_path() / (name + marker.extension().native());
    try {
        if (renamed.native() != m_markerFilePath) {
            if (!canBeLinkedFrom(m_directory, renamed.filename().native())) {
                return false;
            }
            if (!basekit2::rename_exclusively(AT_FDCWD, marker.c_str(), renamed.c_str())) {
                throwTreeError("cannot rename", marker);
            }
        }
        return setMarkerFilePath(renamed.native(), m_parent ? m_parent->getPath() : nullptr);
    } catch (const boost::system::system_error& e) {
        return VESTA_FAIL_WITH(e);
    }
}

}  // namespace vesta2
