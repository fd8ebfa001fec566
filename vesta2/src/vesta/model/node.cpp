#include "vesta2/node.h"

#include "../foundation/failure.h"
#include "../foundation/file_checks.h"
#include "../tree/remove_tree.h"
#include "basekit2/bag_io.h"
#include "platkit/assertion.h"
#include "registry.h"
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

namespace {

/// Who has it keeps all other processes from saving the node.
constexpr const char* projectReadOnlyFlag = "project_read_only";

}  // namespace

Node::Node(std::string markerFilePath, const char* parentGroupPath) : m_uid(++s_lastUid) {
    try {
        if (isLink(markerFilePath)) {
            setLinkPath(std::string(markerFilePath), markerFilePath);
        }
        setMarkerFilePath(std::move(markerFilePath), parentGroupPath);
    } catch (...) {
        unregister();
        throw;
    }
    m_propertyStorage = IBagPropertyStorage::create(&m_properties, {});
    m_propertyStorage->addChangeListener(&m_changeMonitor);
    m_transientStorage = IBagPropertyStorage::create(&m_transient, {});
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

sptr_t<INode> Node::getParent() { return m_parent; }

bool Node::setParent(const char* parentDir) {
    return setMarkerFilePath(m_markerFilePath, parentDir);
}

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

sptr_t<INodeGroup> Node::ownGroup() const { return sptr_t<INodeGroup>(m_ownGroup.get()); }

sptr_t<IBagPropertyStorage> Node::getPropertyStorage() { return m_propertyStorage; }

sptr_t<IBagPropertyStorage> Node::getTransientStorage() { return m_transientStorage; }

std::string Node::markerFileName() const { return fs::path(m_markerFilePath).filename().native(); }

bool Node::save() {
    if (ownFlag(projectReadOnlyFlag) == eNotOwner) {
        platkit::assertion_failed({"ownFlag(VESTA_PROJECT_READONLY_FLAG) != eNotOwner",
                                   "vcs/vesta2/src/vesta", 1553, "bool vesta2::Node::save()"});
        setStatus(eNotOwner);
        return false;
    }
    if (m_markerState == marker_state_t::unreadable) {
        // What it holds is unknown; replacing it would lose that.
        setStatus(eUnknown);
        return true;
    }
    m_removeOnClose = false;
    m_changeMonitor.modified = false;
    return !setStatus(
        errorFromObxError(basekit2::save_variant_bag(m_properties, m_markerFilePath)));
}

bool Node::isModified() { return m_changeMonitor.modified; }

bool Node::isReadOnly() { return m_readOnly; }

void Node::setReadOnly(bool readOnly) { m_readOnly = readOnly; }

void Node::setRemoveOnClose(bool removeOnClose) { m_removeOnClose = removeOnClose; }

void Node::removeChildren() {
    // Straight over the directory: a handle on the group would count this node, which may be in its
    // destructor.
    for (NodeIterator child("", m_directory.native(), 0); !child.at_end(); child.next()) {
        if (const sptr_t<INode> node = child.current()) {
            node->remove();
        }
    }
}

/// Whether the directory is this node's to delete. A link file may name anything, and a broken one
/// binds its node to itself: what lies around such a file belongs to others.
bool Node::ownsDirectory() const {
    if (!m_directory.has_relative_path() || isLink(m_markerFilePath) ||
        isDirectory(m_markerFilePath)) {
        return false;
    }
    const FileSet anyKind(resultMarkerFileExt(), experimentMarkerFileExt(), projectMarkerFileExt());
    return m_linkFilePath.empty() ||
           (isRegularFile(m_markerFilePath) && hasExtension(m_markerFilePath, anyKind));
}

bool Node::remove() {
    try {
        // What stands for the node in its group: as long as a group around it is being deleted, it
        // must be reached from there without a symbolic link.
        const fs::path place = m_linkFilePath.empty() ? m_directory : fs::path(m_linkFilePath);
        const fs::path group = NodeBeingRemoved::outermostAround(place);
        if (!group.empty() && !staysInside(group, place.parent_path())) {
            return setStatus(eInvalidPath);
        }
        // Links can make a group hold itself: what is being removed already is left to that.
        if (ownsDirectory() && isThere(m_directory) &&
            !NodeBeingRemoved::contains(m_markerFilePath)) {
            const NodeBeingRemoved mark(m_markerFilePath);
            if (m_ownGroup && !fs::is_symlink(m_directory)) {
                removeChildren();
            }
            removeTree(m_directory, m_linkFilePath.empty() ? group : fs::path());
        }
        if (!m_linkFilePath.empty()) {
            removeTree(m_linkFilePath, group);
        }
        return true;
    } catch (const boost::system::system_error& e) {
        return VESTA_FAIL_WITH(e);
    }
}

}  // namespace vesta2
