#pragma once
/// The base of every node object, and the registry of the nodes that are open in this process.
///
/// The registry and all reference counts are guarded by one recursive lock of the process. The rest
/// of a node is for one thread at a time. What an operation returns, and how long a text lives, is
/// told in `INode`.

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "basekit2/object.h"
#include "basekit2/variant.h"
#include "optstore2/property_storage.h"
#include "vesta2/boost_fwd.h"
#include "vesta2/error.h"
#include "vesta2/export.h"
#include "vesta2/i_node.h"
#include "vesta2/marker_file.h"

namespace vesta2 {

class NodeGroup;
struct NodeState;

/// The operations that `INode` has do what it tells. An object is made by `lookup` alone, and
/// deleted by the release of its last handle. Layout: a virtual table and one pointer.
class VESTA2_API Node {
public:
    /// Gives up the flags of the node that this process still has; after `setRemoveOnClose` also
    /// deletes the node from disk.
    virtual ~Node() noexcept;
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    /// Returns: a handle on this object.
    virtual basekit2::sptr_t<INode> asINode() = 0;
    virtual unsigned add_ref() const;
    virtual unsigned release() const;
    virtual const char* getPath();
    virtual std::uint64_t getFilesCount();
    virtual std::uint64_t getSize();
    virtual const char* getMarkerFilePath();
    virtual bool changeMarkerFilePath(const char* newMarker);
    virtual const char* getUserVisibleName();
    virtual bool changeUserVisibleName(const char* name);
    virtual basekit2::sptr_t<INode> getParent();
    virtual bool setParent(const char* parentDir);
    virtual basekit2::sptr_t<IProject> getProject();
    virtual basekit2::sptr_t<INodeGroup> getNodeGroup();
    virtual basekit2::sptr_t<optstore2::IBagPropertyStorage> getPropertyStorage();
    virtual bool save();
    virtual bool isModified();
    virtual long getCreationTime();
    virtual basekit2::sptr_t<optstore2::IBagPropertyStorage> getTransientStorage();
    virtual bool isLinked();
    virtual bool isMissing();
    virtual bool isLinkStale();
    virtual bool isReadOnly();
    virtual void setReadOnly(bool readOnly);
    virtual void setRemoveOnClose(bool removeOnClose);
    virtual bool setFlag(const char* name);
    virtual error_t addFlag(const char* name, basekit2::sptr_t<IFlagData>& out, bool force);
    virtual error_t addFlag(const char* name, bool force);
    virtual bool clearFlag(const char* name, bool forceErase);
    virtual error_t removeFlag(const char* name, bool forceErase);
    virtual error_t ownFlag(const char* name);
    virtual const char* getLinkFilePath();

    bool remove();
    bool copy(const char* destination, bool rename, notify2::IProgress* progress);
    bool move(const char* destination, bool rename, notify2::IProgress* progress);

    // --- the registry: any thread may call these ----------------------------------------------

    /// Opens the node of the marker or link file `path`, which is relative to `groupPath`; that
    /// also becomes its parent group. Returns: the object that is open on it, or a new one; empty
    /// when there is no such file, and for a node that is being made or removed on this thread (a
    /// re-entrant look-up). Status: `eNotFound` for an empty handle, else that of reading the
    /// marker file. Disk: the marker file is read; a link file that is no longer right is
    /// rewritten.
    static basekit2::sptr_t<INode> lookup(std::string path, const char* groupPath);
    /// Returns: the number of the node among all that were made since the last `reset`; 0 for an
    /// empty handle.
    static unsigned uid(const basekit2::sptr_t<INode>& node);
    /// Returns: how reading its marker file went when the node was last bound to it; `absent` for
    /// an empty handle.
    static marker_state_t markerState(const basekit2::sptr_t<INode>& node);
    /// Returns: whether `INode::getParent` and `getLinkFilePath` can be believed: false when the
    /// group that may hold the node, or the link that leads to it, could not be looked at. Such a
    /// node is neither renamed nor copied nor moved (`eUnknown`). True for an empty handle.
    static bool isParentKnown(const basekit2::sptr_t<INode>& node);
    /// Returns: whether `IResultDirectory::isFinalized` and `isValid` can be believed: false when
    /// the directory could not be looked at when the result was opened. True for other nodes and an
    /// empty handle.
    static bool areMarksKnown(const basekit2::sptr_t<INode>& node);
    /// Returns: whether the open `directory` is the one that the node lay in when it was last bound
    /// to its marker file; true also when that cannot be told, as where other hosts change the file
    /// system, and for an empty handle.
    static bool isHome(const basekit2::sptr_t<INode>& node, int directory);
    /// Returns: the number (see `uid`) of the node that is open on the marker file; 0 when none is.
    static unsigned openOn(const std::string& markerFilePath);
    /// Takes the node that is open on the marker file out of the registry, if it has this number:
    /// its directory was deleted, and another node has come into its place. Its handles stay valid,
    /// but it is as after `remove`: it saves and deletes nothing any more.
    static void retire(const std::string& markerFilePath, unsigned number);
    /// Returns: how many nodes were made since the last `reset`.
    /// Deliberate: not how many are alive.
    static unsigned nodeCount();
    /// Returns: the number of registered paths, one for an open node, two for a linked one.
    static unsigned handleCount();
    /// Forgets all open nodes, which live on by their handles, and counts from 0 again. For tests
    /// and for the end of a process.
    static void reset();
    /// Takes the path `key` out of the registry. For tests.
    /// Returns: whether it was registered.
    static bool eraseFromMap(std::string& key);

    // --- properties in the section "vesta", for the node classes: one thread at a time --------

    /// Returns: the section; an empty one is added first when there is none.
    /// Lifetime: until the node is bound to another marker file.
    basekit2::variant_bag_t* getVestaBag();
    /// Puts the property `name`, in the place of an earlier one of whatever kind: as int32, int64,
    /// string and uint64.
    /// Disk: nothing is written until `save`; nor does this count as a modification.
    void setRdPropInt(const char* name, int value);
    void setRdPropLong(const char* name, long long value);
    void setRdPropStr(const char* name, const char* value);
    void setRdPropTime(const char* name, long value);
    /// Returns: the number `name`; `def` without such a property. What is no number gives 0.
    [[nodiscard]] int getRdPropInt(const char* name, int def) const;
    [[nodiscard]] long long getRdPropLong(const char* name, long long def) const;
    /// Returns: the text `name`; `def` without such a property, and when it is no string.
    /// Lifetime: until the property changes.
    [[nodiscard]] const char* getRdPropStr(const char* name, const char* def) const;
    /// Returns: as `getRdPropLong`, in seconds since the Epoch.
    [[nodiscard]] long getRdPropTime(const char* name, long def) const;

    // --- any thread, also while another one re-binds the node ---------------------------------

    /// Returns: where new nodes of this node's group are made; the node's path unless it was set.
    std::string getOutputDirectory();
    /// Returns: as `getPath`, by value.
    [[nodiscard]] std::string currentPath() const;
    /// Sets where new nodes of this node's group are made; null takes that back.
    /// Status: as after a save.
    /// Disk: a marker file that has a section "vesta" is saved at once.
    void setOutputDirectory(const char* directory);

    /// Binds the node to another marker file, reads its properties (unsaved changes are lost),
    /// finds its parent, and sees to its link file. Returns: true when the status is `eOK` at the
    /// end; false for an empty path. Status: `eUnknown` for a marker file that cannot be read: the
    /// properties are empty then, and the node is bound all the same; `eAlreadyExists`, with
    /// nothing changed, for the marker file of another open node; `eNotFound` after `remove`; else
    /// why the link could not be written. Disk: a link file may be written, moved or deleted, and
    /// then the marker file is saved.
    bool setMarkerFilePath(std::string markerFilePath, const char* parentGroupPath);

protected:
    Node(std::string markerFilePath, const char* parentGroupPath);

    /// The node's directory. A link that does not tell where its node is stands for no directory:
    /// then this is the path of the link file, so that what is done below it fails.
    [[nodiscard]] const boost::filesystem::path& directory() const;
    /// Returns: the name of the marker file in the directory.
    [[nodiscard]] std::string markerFileName() const;
    [[nodiscard]] const basekit2::variant_bag_t& properties() const;
    [[nodiscard]] marker_state_t markerState() const;
    /// Makes `isModified` true: properties were changed past the storage.
    void markModified();
    /// Makes `areMarksKnown` false.
    void noteUnknownMarks();
    /// Takes over the group of the nodes in this node's directory.
    void setOwnGroup(std::unique_ptr<NodeGroup> group);
    /// Returns: the group given to `setOwnGroup`, with a reference added; empty for a node without
    /// a directory.
    [[nodiscard]] basekit2::sptr_t<INodeGroup> ownGroup() const;

private:
    friend struct NodeState;

    /// The one object of each open marker file, also under the path of its link file.
    static std::map<std::string, Node*>& s_nodeMap;
    static boost::recursive_mutex& s_recursiveMutex;
    static unsigned s_lastUid;

    const std::unique_ptr<NodeState> m_state;
};

}  // namespace vesta2
