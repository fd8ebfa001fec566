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

class VESTA2_API Node {
public:
    /// Gives up the flags of the node that this process still has.
    virtual ~Node() noexcept;
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

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

    // --- the registry -------------------------------------------------------------------------

    /// The node of the marker or link file `path` (relative to `groupPath`, which also becomes its
    /// parent group): the one that is open already, or a new object. Empty when there is no such
    /// file.
    static basekit2::sptr_t<INode> lookup(std::string path, const char* groupPath);
    /// Number of the node among all that were made since the last `reset`; 0 for an empty handle.
    static unsigned uid(const basekit2::sptr_t<INode>& node);
    /// How reading its marker file went when the node was last bound to it; `absent` for an empty
    /// handle.
    static marker_state_t markerState(const basekit2::sptr_t<INode>& node);
    /// Whether `INode::getParent` and `getLinkFilePath` can be believed: false when the group that
    /// may hold the node, or the link that leads to it, could not be looked at. Such a node is
    /// neither renamed nor copied nor moved (`eUnknown`). True for an empty handle.
    static bool isParentKnown(const basekit2::sptr_t<INode>& node);
    /// The number (see `uid`) of the node that is open on the marker file; 0 when none is.
    static unsigned openOn(const std::string& markerFilePath);
    /// Takes the node that is open on the marker file out of the registry, if it has this number:
    /// its directory was deleted, and another node has come into its place. Its handles stay valid,
    /// but it is as after `remove`: it saves and deletes nothing any more.
    static void retire(const std::string& markerFilePath, unsigned number);
    /// How many nodes were made since the last `reset`. Deliberate: not how many are alive.
    static unsigned nodeCount();
    /// Registered paths: one for an open node, two for a linked one.
    static unsigned handleCount();
    /// Forgets all open nodes, which live on by their handles, and counts from 0 again. For tests
    /// and for the end of a process.
    static void reset();
    /// Whether `key` was registered, and is no longer.
    static bool eraseFromMap(std::string& key);

    // --- properties in the marker file's section "vesta", for the node classes
    // --------------------

    /// The section; an empty one is added first when there is none. Valid until the node is
    /// re-bound.
    basekit2::variant_bag_t* getVestaBag();
    /// Setters write to the bag alone: they neither save nor count as a modification.
    void setRdPropInt(const char* name, int value);
    void setRdPropLong(const char* name, long long value);
    void setRdPropStr(const char* name, const char* value);
    void setRdPropTime(const char* name, long value);
    [[nodiscard]] int getRdPropInt(const char* name, int def) const;
    [[nodiscard]] long long getRdPropLong(const char* name, long long def) const;
    /// `def` also when the value is no string. Valid until the property changes.
    [[nodiscard]] const char* getRdPropStr(const char* name, const char* def) const;
    [[nodiscard]] long getRdPropTime(const char* name, long def) const;

    /// Where new nodes of this node's group are made; the node's path unless it was set. This and
    /// `currentPath` are safe while another thread re-binds the node.
    std::string getOutputDirectory();
    /// As `getPath`, by value.
    [[nodiscard]] std::string currentPath() const;
    /// Sets it, and saves it at once in a marker file that has a section "vesta".
    void setOutputDirectory(const char* directory);

    /// Binds the node to another marker file, reads its properties (unsaved changes are lost) and
    /// finds its parent. A marker file that cannot be read leaves the properties empty and the
    /// status `eUnknown`; the node is bound all the same. True when the status is `eOK` at the end;
    /// false, with `eOK`, for an empty path; false, with `eAlreadyExists` and nothing changed, for
    /// the marker file of another open node.
    bool setMarkerFilePath(std::string markerFilePath, const char* parentGroupPath);

protected:
    Node(std::string markerFilePath, const char* parentGroupPath);

    /// The node's directory. A link that does not tell where its node is stands for no directory:
    /// then this is the path of the link file, so that what is done below it fails.
    [[nodiscard]] const boost::filesystem::path& directory() const;
    /// The name of the marker file in the directory.
    [[nodiscard]] std::string markerFileName() const;
    [[nodiscard]] const basekit2::variant_bag_t& properties() const;
    [[nodiscard]] marker_state_t markerState() const;
    /// Properties were changed past the storage.
    void markModified();
    /// Takes over the group of the nodes in this node's directory.
    void setOwnGroup(std::unique_ptr<NodeGroup> group);
    /// The group given to `setOwnGroup`, with a reference added.
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
