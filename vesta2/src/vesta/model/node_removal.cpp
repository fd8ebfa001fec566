// How a node's directory is deleted, with the nodes in it and the link that stands for it.

#include "node_removal.h"

#include <optional>

#include "../discovery/directory_memory.h"
#include "../foundation/file_checks.h"
#include "../foundation/log.h"
#include "../tree/removal_note.h"
#include "../tree/remove_tree.h"
#include "group_being_emptied.h"
#include "link_file.h"
#include "node_state.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"
#include "vesta2/node_iterator.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::sptr_t;

namespace {

class NodeBeingRemoved;
thread_local const NodeBeingRemoved* t_innermostRemoval = nullptr;

/// A node whose directory this thread deletes, perhaps out of its destructor: as long as that lasts
/// the thread cannot open it.
class NodeBeingRemoved {
public:
    explicit NodeBeingRemoved(const std::string& markerFilePath)
        : m_markerFilePath(markerFilePath), m_outer(std::exchange(t_innermostRemoval, this)) {}
    ~NodeBeingRemoved() { t_innermostRemoval = m_outer; }
    NodeBeingRemoved(const NodeBeingRemoved&) = delete;
    NodeBeingRemoved& operator=(const NodeBeingRemoved&) = delete;

    static bool contains(const std::string& markerFilePath) {
        const NodeBeingRemoved* removal = t_innermostRemoval;
        while (removal && removal->m_markerFilePath != markerFilePath) {
            removal = removal->m_outer;
        }
        return removal != nullptr;
    }

private:
    const std::string& m_markerFilePath;
    const NodeBeingRemoved* m_outer;
};

/// Deletes the nodes of the node's group, up to the first that cannot be deleted. Sets `isPart` as
/// soon as one is gone.
bool removeChildren(const KnownDirectory& group, bool& isPart) {
    const fs::path& directory = group.path;
    const GroupBeingEmptied mark(group);
    // Straight over the directory: a handle on the group would count this node, which may be in its
    // destructor.
    NodeIterator child("", directory.native(), 0);
    for (setStatus(eOK); !child.at_end(); child.next()) {
        const sptr_t<INode> node = child.current();
        // Links can make a group hold itself, or what it lies in: those are no members of it.
        if (node && GroupBeingEmptied::liesIn(node->getPath())) {
            continue;
        }
        if (node ? !node->remove() : !isAbsent(child.path())) {
            return getStatus() != eOK ? false : setStatus(eUnknown);
        }
        isPart = isPart || node;
    }
    return setStatus(eOK);
}

/// Of a group. The note stays when a part is left.
struct GroupRemoval {
    std::optional<RemovalNote> note;
    bool isPart = false;

    GroupRemoval() = default;
    ~GroupRemoval() {
        if (note && isPart) {
            note->keep();
        }
    }
    GroupRemoval(const GroupRemoval&) = delete;
    GroupRemoval& operator=(const GroupRemoval&) = delete;
};

/// Whether the directory is this node's to delete. A link file may name anything, and a broken one
/// binds its node to itself: what lies around such a file belongs to others.
bool ownsDirectory(const NodeState& node) {
    if (!node.directory.has_relative_path() || isLink(node.markerFilePath)) {
        return false;
    }
    const fs::file_status marker = lookAt(node.markerFilePath);
    return node.linkFilePath.empty() ? !fs::is_directory(marker) : fs::is_regular_file(marker);
}

/// Deletes the directory with the nodes in it, if it is the node's and there. False, with
/// `eNotFound`, when another directory is in its place.
bool removeDirectory(NodeState& node, const KnownDirectory& group) {
    if (node.isRemoved || !ownsDirectory(node) || !fs::exists(lookAt(node.directory)) ||
        NodeBeingRemoved::contains(node.markerFilePath)) {
        return true;
    }
    if (GroupBeingEmptied::liesIn(node.directory)) {
        return setStatus(eInvalidPath);
    }
    const NodeBeingRemoved mark(node.markerFilePath);
    const KnownDirectory own{node.directory, node.home};
    GroupRemoval removal;
    if (node.ownGroup && !fs::is_symlink(node.directory)) {
        removal.note.emplace(own);
        if (!removeChildren(own, removal.isPart)) {
            return false;
        }
    }
    DirectoryLook around(node.directory.parent_path().native());
    if (removeTree(own, group) == 0 && !isAbsent(node.directory)) {
        logError(eNotFound, node.directory.c_str());
        return setStatus(eNotFound);
    }
    removal.isPart = false;
    // The number that has become free may be the next one: no numbers are known any more.
    around.keepThroughOwnChange(-1, {});
    // What comes into this place later is another node.
    node.isRemoved = true;
    node.unregister();
    return true;
}

bool removeOwnLink(const NodeState& node, const KnownDirectory& group) {
    // A marker that is there again is another node's, and so is the link.
    if (node.linkFilePath.empty() || (node.isRemoved && !isAbsent(node.markerFilePath))) {
        return true;
    }
    switch (whereLeads(readLinkFile(node.linkFilePath),
                       {node.markerFilePath, node.formerMarkerFilePath})) {
    case Leads::unknown:
        return setStatus(eUnknown);
    case Leads::elsewhere:
        // It was given to another node, or could not be read when this one was opened.
        return node.isRemoved || setStatus(eUnknown);
    case Leads::here:
    case Leads::nowhere:
        break;
    }
    removeTree({node.linkFilePath}, group);
    return true;
}

/// Whether `place` stands for the node in a directory that is, or lies in, that very group. A link
/// is read there once more: that it leads here may have been read in another.
bool isMember(const NodeState& node, const fs::path& place, const KnownDirectory& group) {
    const basekit2::descriptor_t holder = openInside(group, place.parent_path());
    if (!holder || node.linkFilePath.empty() || isLink(node.markerFilePath)) {
        return static_cast<bool>(holder);
    }
    const fs::path certain = "/proc/self/fd/" + std::to_string(holder.get());
    const LinkFile link = readLinkFile((certain / place.filename()).native(), place.native());
    return !isDirectory(certain) || link.target == node.markerFilePath ||
           whereLeads(link, {node.markerFilePath, node.formerMarkerFilePath}) == Leads::here;
}

}  // namespace

bool isBeingRemoved(const std::string& markerFilePath) {
    return NodeBeingRemoved::contains(markerFilePath);
}

bool Node::remove() {
    setStatus(eOK);
    try {
        // What stands for the node in its group: as long as a group around it is being deleted, it
        // must be reached from there without a symbolic link.
        const bool isLinkedIn = !m_state->linkFilePath.empty();
        const fs::path place = isLinkedIn ? m_state->linkFilePath : m_state->directory;
        const KnownDirectory group = GroupBeingEmptied::outermostAround(place);
        if (!group.path.empty() && !isMember(*m_state, place, group)) {
            return setStatus(eInvalidPath);
        }
        return removeDirectory(*m_state, isLinkedIn ? KnownDirectory() : group) &&
               removeOwnLink(*m_state, group);
    } catch (const boost::system::system_error& e) {
        return failWith(e);
    }
}

}  // namespace vesta2
