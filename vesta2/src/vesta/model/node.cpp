#include "vesta2/node.h"

#include "../foundation/failure.h"
#include "../foundation/file_checks.h"
#include "../tree/remove_tree.h"
#include "basekit2/bag_io.h"
#include "link_file.h"
#include "platkit/assertion.h"
#include "removal.h"
#include "vesta2/discovery.h"
#include "vesta2/i_project.h"
#include "vesta2/names.h"
#include "vesta2/node_group.h"
#include "vesta2/node_iterator.h"
#include "vesta2/tree_size.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::sptr_t;
using optstore2::IBagPropertyStorage;

Node::Node(std::string markerFilePath, const char* parentGroupPath)
    : m_uid(++s_lastUid),
      m_propertyStorage(IBagPropertyStorage::create(&m_properties, {})),
      m_transientStorage(IBagPropertyStorage::create(&m_transient, {})) {
    try {
        if (isLink(markerFilePath)) {
            setLinkPath(std::string(markerFilePath), markerFilePath);
        }
        setMarkerFilePath(std::move(markerFilePath), parentGroupPath);
        if (!m_linkFilePath.empty() && m_linkFilePath == m_markerFilePath) {
            // The link does not tell where the marker file is; its own text is none.
            m_properties.clear();
            m_markerState = m_markerState == marker_state_t::malformed ? marker_state_t::malformed
                                                                       : marker_state_t::unreadable;
        }
        m_propertyStorage->addChangeListener(&m_changeMonitor);
    } catch (...) {
        // The destructor will not run: nothing may find the node any more.
        unregister();
        throw;
    }
}

Node::~Node() noexcept {
    unregister();
    if (m_removeOnClose) {
        Node::remove();
    }
    try {
        m_flagManager.eraseAll();
    } catch (const boost::system::system_error& e) {
        // The files stay behind; the next to claim the flag finds that its owner has ended.
        VESTA_FAIL_WITH(e);
    }
    m_propertyStorage->removeChangeListener(&m_changeMonitor);
    // A caller may still hold the storages; the bags that they show end here.
    m_propertyStorage->detach();
    m_transientStorage->detach();
}

const char* Node::getPath() { return m_path.c_str(); }

const char* Node::getMarkerFilePath() {
    checkMarkerFilePath();
    return m_markerFilePath.c_str();
}

std::uint64_t Node::getSize() { return calcDirectoryFilesSize(m_directory); }

std::uint64_t Node::getFilesCount() { return calcDirectoryFilesCount(m_directory); }

const char* Node::getUserVisibleName() { return isMissing() ? nullptr : m_userVisibleName.c_str(); }

sptr_t<IProject> Node::getProject() {
    for (sptr_t<INode> node = getParent(); node; node = node->getParent()) {
        if (sptr_t<IProject> project = IProject::cast(node)) {
            return project;
        }
    }
    return {};
}

sptr_t<INodeGroup> Node::getNodeGroup() { return {}; }

void Node::setOwnGroup(std::unique_ptr<NodeGroup> group) { m_ownGroup = std::move(group); }

sptr_t<INodeGroup> Node::ownGroup() const {
    // A link that does not tell where its node is has no directory to hold others.
    return isLink(m_markerFilePath) ? sptr_t<INodeGroup>() : sptr_t<INodeGroup>(m_ownGroup.get());
}

sptr_t<IBagPropertyStorage> Node::getPropertyStorage() { return m_propertyStorage; }

sptr_t<IBagPropertyStorage> Node::getTransientStorage() { return m_transientStorage; }

std::string Node::markerFileName() const { return fs::path(m_markerFilePath).filename().native(); }

bool Node::save() {
    const error_t owner = ownFlag(flag_name::projectReadOnly);
    if (owner == eNotOwner) {
        platkit::assertion_failed({"ownFlag(VESTA_PROJECT_READONLY_FLAG) != eNotOwner",
                                   "vcs/vesta2/src/vesta", 1553, "bool vesta2::Node::save()"});
        setStatus(eNotOwner);
        return false;
    }
    if (owner != eOK && owner != eNotFound) {
        // Another process may have it.
        return !setStatus(owner);
    }
    if (!m_removed && m_markerState != marker_state_t::unreadable) {
        m_removeOnClose = false;
        m_changeMonitor.modified = false;
    }
    const error_t code = saveProperties();
    // What could not be written is still to be saved.
    m_changeMonitor.modified = m_changeMonitor.modified || code != eOK;
    return !setStatus(code);
}

error_t Node::saveProperties() {
    if (m_removed) {
        return eNotFound;
    }
    // What a marker holds that could not be read is unknown; replacing it would lose that.
    const error_t code =
        m_markerState == marker_state_t::unreadable
            ? eUnknown
            : errorFromObxError(basekit2::save_variant_bag(m_properties, m_markerFilePath));
    if (code != eOK) {
        VESTA_LOG_ERROR(code, m_markerFilePath.c_str());
    }
    return code;
}

bool Node::isModified() { return m_changeMonitor.modified; }

bool Node::isReadOnly() { return m_readOnly; }

void Node::setReadOnly(bool readOnly) { m_readOnly = readOnly; }

void Node::setRemoveOnClose(bool removeOnClose) { m_removeOnClose = removeOnClose; }

/// Deletes the nodes of the node's group, up to the first that cannot be deleted.
bool Node::removeChildren() {
    const GroupBeingEmptied mark(m_directory);
    // Straight over the directory: a handle on the group would count this node, which may be in its
    // destructor.
    NodeIterator child("", m_directory.native(), 0);
    for (setStatus(eOK); !child.at_end(); child.next()) {
        const sptr_t<INode> node = child.current();
        // Links can make a group hold itself, or what it lies in: those are no members of it.
        if (node && GroupBeingEmptied::liesIn(node->getPath())) {
            continue;
        }
        if (node ? !node->remove() : !isAbsent(child.path())) {
            return getStatus() != eOK ? false : setStatus(eUnknown);
        }
    }
    return setStatus(eOK);
}

/// Whether the directory is this node's to delete. A link file may name anything, and a broken one
/// binds its node to itself: what lies around such a file belongs to others.
bool Node::ownsDirectory() const {
    if (!m_directory.has_relative_path() || isLink(m_markerFilePath)) {
        return false;
    }
    const fs::file_status marker = lookAt(m_markerFilePath);
    return m_linkFilePath.empty() ? !fs::is_directory(marker) : fs::is_regular_file(marker);
}

bool Node::remove() {
    setStatus(eOK);
    try {
        // What stands for the node in its group: as long as a group around it is being deleted, it
        // must be reached from there without a symbolic link.
        const fs::path place = m_linkFilePath.empty() ? m_directory : fs::path(m_linkFilePath);
        const fs::path group = NodeBeingRemoved::outermostAround(place);
        if (!group.empty() && !staysInside(group, place.parent_path())) {
            return setStatus(eInvalidPath);
        }
        return removeDirectory(m_linkFilePath.empty() ? group : fs::path()) && removeOwnLink(group);
    } catch (const boost::system::system_error& e) {
        return VESTA_FAIL_WITH(e);
    }
}

/// Deletes the directory with the nodes in it, if it is the node's and there.
bool Node::removeDirectory(const fs::path& group) {
    if (m_removed || !ownsDirectory() || !fs::exists(lookAt(m_directory)) ||
        NodeBeingRemoved::contains(m_markerFilePath)) {
        return true;
    }
    if (GroupBeingEmptied::liesIn(m_directory)) {
        return setStatus(eInvalidPath);
    }
    const NodeBeingRemoved mark(m_markerFilePath);
    if (m_ownGroup && !fs::is_symlink(m_directory) && !removeChildren()) {
        return false;
    }
    removeTree(m_directory, group);
    // What comes into this place later is another node.
    m_removed = true;
    unregister();
    return true;
}

bool Node::removeOwnLink(const fs::path& group) {
    // A marker that is there again is another node's, and so is the link.
    if (m_linkFilePath.empty() || (m_removed && !isAbsent(m_markerFilePath))) {
        return true;
    }
    switch (whereLeads(readLinkFile(m_linkFilePath))) {
    case Leads::unknown:
        return setStatus(eUnknown);
    case Leads::elsewhere:
        // It was given to another node, or could not be read when this one was opened.
        return m_removed || setStatus(eUnknown);
    case Leads::here:
    case Leads::nowhere:
        break;
    }
    removeTree(m_linkFilePath, group);
    return true;
}

}  // namespace vesta2
