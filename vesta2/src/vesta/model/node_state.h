#pragma once
/// What a node object holds, and what the sources of `Node` ask of each other: node.cpp
/// (properties, flags, saving), node_binding.cpp (marker file, parent), node_link.cpp (link
/// file), node_registry.cpp (which objects there are), node_removal.cpp and node_relocation.cpp
/// (copies, moves, renames). Known to them alone, and `homeOf` to others.
///
///     (none) ---- lookup of a marker or link file -------------------> bound, or linked
///     bound ----- setParent: a group that it does not lie in --------> linked
///     linked ---- setParent: the group that it lies in, or none -----> bound
///     linked ---- the marker is not what the link file says ---------> stale
///     stale ----- the link file is rewritten ------------------------> linked
///     any ------- the marker file is gone ---------------------------> missing
///     missing --- it is there again, or changeMarkerFilePath --------> bound, linked or stale
///     any ------- remove, or the directory was overwritten ----------> removed
///
/// A node that is bound lies in its parent's directory, or has no parent. One that was removed
/// saves and deletes nothing any more; its handles stay valid.

#include <atomic>
#include <boost/filesystem/path.hpp>
#include <boost/thread/recursive_mutex.hpp>
#include <thread>

#include "../tree/file_id.h"
#include "checksum.h"
#include "vesta2/flag_manager.h"
#include "vesta2/node.h"
#include "vesta2/node_group.h"

namespace vesta2 {

/// Notices changes of a node's properties. Lives inside the node and is never counted.
class PropertyChangeMonitor : public optstore2::IPropertyStorageChangeListener2 {
public:
    unsigned add_ref() const override { return 0; }
    unsigned release() const override { return 0; }
    void propertyChanging(const char* /*path*/) override {}
    void propertyBagChanging(const char* /*path*/) override {}
    void propertyChanged(const char* /*path*/) override { modified = true; }
    void propertyBagChanged(const char* /*path*/) override { modified = true; }

    bool modified = false;
};

/// Holds the mutex of the registry. It is held for some microseconds at a time, less than it takes
/// to fall asleep and to be woken, so a thread tries again for about as long before it does.
class RegistryLock {
public:
    explicit RegistryLock(boost::recursive_mutex& mutex) : m_mutex(mutex) {
        constexpr int tries = 50;
        for (int i = 0; i < tries; ++i) {
            if (m_mutex.try_lock()) {
                return;
            }
            std::this_thread::yield();
        }
        m_mutex.lock();
    }
    ~RegistryLock() { m_mutex.unlock(); }
    RegistryLock(const RegistryLock&) = delete;
    RegistryLock& operator=(const RegistryLock&) = delete;

private:
    boost::recursive_mutex& m_mutex;
};

struct NodeState {
    /// Of the registry; guards the reference counts and the binding of all nodes as well.
    using Lock = RegistryLock;
    static boost::recursive_mutex& mutex() { return Node::s_recursiveMutex; }

    explicit NodeState(Node& object);
    /// Of the node behind the handle; null for an empty one.
    static NodeState* of(const basekit2::sptr_t<INode>& node);
    /// Null for a node without a parent. Valid until it gets another one.
    [[nodiscard]] const char* pathOfParent() const { return parent ? parent->getPath() : nullptr; }

    // --- node.cpp

    /// Whether the node is there no more, with the status `eNotFound`: its directory was removed,
    /// and what has come into its place is another node's.
    [[nodiscard]] bool isGone() const { return isRemoved && !setStatus(eNotFound); }
    /// In the section "vesta"; null without one.
    [[nodiscard]] const basekit2::variant_t* findProperty(const char* name) const;
    /// Writes the marker file, without a look at it if the properties are known to have changed;
    /// the status stays as it is.
    [[nodiscard]] error_t saveProperties(bool isChanged = false) const;

    // --- node_binding.cpp

    /// See `Node::setMarkerFilePath`.
    bool bind(std::string marker, const char* groupPath);
    /// Takes over a link file, and the group that it lies in, after the marker file has been read.
    void adoptLinkAndGroup(const std::string& path);
    /// When the marker file is gone, binds the node to another one of its kind in the directory.
    void followRenamedMarker();

    // --- node_link.cpp

    /// Makes `path` the link file, and tells the marker file that it leads to. False for an empty
    /// path.
    bool setLinkPath(std::string path, std::string& target);

    // --- node_registry.cpp

    /// As `Node::lookup`, but throws when it cannot be known whether there is such a file.
    static basekit2::sptr_t<INode> find(const std::string& path, const char* groupPath);
    /// Of the node that is open under the path of a marker or link file; null without one.
    static NodeState* registered(const std::string& key);
    /// From now on the node is found under `key`, or no longer.
    void enroll(const std::string& key);
    void unregister(const std::string& key) const;
    void unregister() const;

    /// The directory of the node, wherever it is by now; for the rooms above. Not known when it
    /// could not be looked at.
    static const FileId& homeOf(const Node& node) { return node.m_state->home; }

    Node& self;
    std::uint32_t references = 0;
    const std::uint32_t uid;
    boost::filesystem::path directory;
    FileId home;      ///< which one that is, since the node was bound
    FileId onlyHome;  ///< the node may be bound in no other; not known: in any
    std::string path;
    std::string markerFilePath;
    std::string formerMarkerFilePath;  ///< what the link file may still name after a re-binding
    std::string linkFilePath;
    Checksum checksum;
    std::string userVisibleName;
    basekit2::sptr_t<INode> parent;
    std::unique_ptr<NodeGroup> ownGroup;
    basekit2::variant_bag_t properties;
    basekit2::sptr_t<optstore2::IBagPropertyStorage> propertyStorage;
    PropertyChangeMonitor changeMonitor;
    basekit2::variant_bag_t transient;
    basekit2::sptr_t<optstore2::IBagPropertyStorage> transientStorage;
    std::string outputDirectory;
    marker_state_t markerState = marker_state_t::absent;
    bool isPlaced = true;       ///< it is a member of its parent's group, by a link if it needs one
    bool isParentKnown = true;  ///< whether the look for the parent and its link did not fail
    bool areMarksKnown = true;  ///< of a result: whether the look for them did not fail
    bool isLinkStale = false;
    bool isReadOnly = false;
    bool removeOnClose = false;
    std::atomic<bool> isRemoved = false;
    /// Handles may be given out: neither still being made nor being destroyed.
    bool isOpen = false;
    util::FlagManager flags;
};

}  // namespace vesta2
