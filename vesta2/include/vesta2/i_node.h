#pragma once
/// What results, experiments and projects have in common.
///
/// A node is a directory that holds a marker file; the marker is also its property store. There is
/// one object per marker file in a process, counted by its handles; the last handle to go destroys
/// it. Handles may be copied and dropped on any thread, but one node is for one thread at a time.
///
/// Operations that can fail leave the reason in the thread's status
/// (`ResultDirectoryManager::getLastError`). A returned `const char*` is valid until the same
/// operation is called again on the node or the node is re-bound to another path. Times are seconds
/// since the Epoch, sizes are bytes.

#include <cstdint>

#include "basekit2/object.h"
#include "notify2/progress.h"
#include "optstore2/property_storage.h"
#include "vesta2/error.h"
#include "vesta2/export.h"
#include "vesta2/i_flag_data.h"

namespace vesta2 {

class INodeGroup;
class IProject;

class VESTA2_API INode : public basekit2::object_interface_t {
public:
    /// Returns: the node's directory.
    virtual const char* getPath() = 0;
    /// Returns: the marker file. One that was renamed inside its directory is found again first,
    /// and the node is bound to it.
    virtual const char* getMarkerFilePath() = 0;
    /// Returns: the bytes of the regular files in the directory and below; symbolic links count
    /// nothing. What cannot be read is left out.
    /// Status: stays as it is.
    virtual std::uint64_t getSize() = 0;
    /// Returns: as `getSize`, the number of regular files.
    virtual std::uint64_t getFilesCount() = 0;
    /// Re-binds a linked node whose marker file is certainly gone to the marker file `newMarker`
    /// (relative to the working directory), and rewrites its link.
    /// Returns: false, with nothing changed and the status as it was, when the node is not linked
    /// or not missing, or when there is no such file. Status: `eAlreadyExists` for the marker file
    /// of another open node. Disk: the link file, and the property "backlink" in the marker file.
    virtual bool changeMarkerFilePath(const char* newMarker) = 0;
    /// Returns: the base name of the marker file; for a project whose marker is named "config",
    /// that of its directory; null when the node is missing.
    virtual const char* getUserVisibleName() = 0;
    /// Renames the marker file; the directory keeps its name.
    /// Returns: false, with nothing changed, for a name that `validateFileName` refuses, and when
    /// the name is taken; false also when the marker was renamed but the link could not be written:
    /// then the link file that was stays, and the node is still found through it. Status:
    /// `eAlreadyExists` when the directory or the node's group has another marker of that name,
    /// `eUnknown` when that could not be looked at. Disk: an exclusive rename, and the link file.
    virtual bool changeUserVisibleName(const char* name) = 0;
    /// Returns: the project or experiment that holds this node; empty when none does, or when that
    /// could not be found out (`Node::isParentKnown`).
    virtual basekit2::sptr_t<INode> getParent() = 0;
    /// Binds the node to the group in the directory `parentDir`, and writes, moves or removes its
    /// link file as that needs.
    /// Returns: false, with the node where it was, when the link cannot be written, when the name
    /// is taken, or when the group cannot be looked at. Status: `eAlreadyExists` when the group has
    /// another node of that name.
    virtual bool setParent(const char* parentDir) = 0;
    /// Returns: the nearest project above this node, never the node itself; empty without one.
    virtual basekit2::sptr_t<IProject> getProject() = 0;
    /// Returns: the group of nodes that a project or experiment holds; empty for a result.
    virtual basekit2::sptr_t<INodeGroup> getNodeGroup() = 0;
    /// Returns: the properties; the library's own are under "vesta/". What is changed is on disk
    /// after `save`. Lifetime: the handle may outlive the node, and is then empty.
    virtual basekit2::sptr_t<optstore2::IBagPropertyStorage> getPropertyStorage() = 0;
    /// Writes the properties to the marker file. Also takes back `setRemoveOnClose`.
    /// Returns: Deliberate: true when the write FAILED and false when it succeeded; ask
    /// `ResultDirectoryManager::getLastError` instead.
    /// Status: `eNotOwner`, and nothing is written, when another process has the flag
    /// "project_read_only" on the node; `eUnknown`, and nothing is written, when the marker file
    /// could not be read (`Node::markerState`); `eNotFound` after `remove`; `eUnknown` when the
    /// write failed: the node is then still modified.
    /// Disk: replaces the file in one step, and flushes it: it outlives a power cut. A file that
    /// holds just these properties is only flushed.
    virtual bool save() = 0;
    /// Returns: whether a property was changed through the storage since the last save.
    virtual bool isModified() = 0;
    /// Returns: when the node was made; 0 when the marker file does not tell.
    virtual long getCreationTime() = 0;
    /// Returns: properties of this object that are never saved.
    virtual basekit2::sptr_t<optstore2::IBagPropertyStorage> getTransientStorage() = 0;
    /// Returns: whether a link file stands for the node in its group.
    virtual bool isLinked() = 0;
    /// Returns: whether the marker file is gone, and no renamed one is in the directory; also when
    /// that cannot be looked at.
    virtual bool isMissing() = 0;
    /// Returns: whether the link file no longer tells the truth about the marker file, and could
    /// not be rewritten.
    virtual bool isLinkStale() = 0;
    /// Returns: a mark of this object for the caller's own use, false at first. It stops nothing,
    /// and nothing of it is on disk.
    virtual bool isReadOnly() = 0;
    virtual void setReadOnly(bool readOnly) = 0;
    /// Deletes the node from disk when its last handle goes, as `remove`; `save` takes that back.
    virtual void setRemoveOnClose(bool removeOnClose) = 0;
    /// Deletes the node from disk: the nodes of its group first, where they are stored, then its
    /// directory, then its link file. Symbolic links are deleted, never followed; a node that holds
    /// the group in which it is linked stays.
    /// Returns: false at the first node that cannot be deleted: the group around it is kept.
    /// Status: why; `eInvalidPath` for what lies outside of the group that is being deleted.
    /// Lifetime: the handles stay valid, but what is made in the place of the node is another one:
    /// this one saves and deletes nothing any more (`eNotFound`).
    virtual bool remove() = 0;

    // Claims between processes. A flag belongs to the process that sets it, until it is cleared,
    // the last handle on the node goes, or the process ends; see `util::FlagManager`. Its name is
    // that of two files in the node's directory. To see who has one, without a side effect, there
    // is `util::lookAtFlag`. The codes do not become the status; a file that cannot be deleted
    // is returned as `eUnknown`, and its code is the status.

    /// Returns: whether this process has the flag now, and had it not before.
    virtual bool setFlag(const char* name) = 0;
    /// As `util::FlagManager::writeFlag`. `out` becomes a handle on the record as it now stands,
    /// ours or that of who has the flag; on an empty record when none could be read.
    virtual error_t addFlag(const char* name, basekit2::sptr_t<IFlagData>& out, bool force) = 0;
    virtual error_t addFlag(const char* name, bool force) = 0;
    /// Returns: whether `removeFlag` gave `eOK`.
    virtual bool clearFlag(const char* name, bool forceErase) = 0;
    /// Gives the flag up.
    /// Returns: `eNotFound` when there is none, `eNotOwner` when this process has it not;
    /// `forceErase` deletes it then, unless a living process holds its lock (`eFileLocked`).
    virtual error_t removeFlag(const char* name, bool forceErase) = 0;
    /// Returns: `eOK` when this process has the flag, `eNotOwner` when another has it, `eNotFound`
    /// when nobody has. Deliberate: a flag whose owner has ended is deleted by the question.
    virtual error_t ownFlag(const char* name) = 0;

    /// Returns: the link file; "" when the node is not linked.
    virtual const char* getLinkFilePath() = 0;

    // Copies of the node's directory. They leave out symbolic links and the files of flags.
    // `rename` gives the marker file the name of the new directory. `progress` may be null; it is
    // told of the bytes, and can cancel between two files and within a large one: the destination
    // is then deleted again. The last that it is told, however it ends, is `finish`. Until all is
    // copied the destination has no marker file. It is no more open than its source, and is deleted
    // again only if it is still the directory that was made. Not for two threads on one node.
    // False, with the status: `eParameterError` for no destination, `eAlreadyExists` for one that
    // is there and for a marker name that something else in the node's directory has, `eFileError`
    // for one that cannot be made, that lies below the node, or when it was cancelled.

    /// Copies the directory to `destination`, whose parent must exist. The node and the flags that
    /// this process has on it live on there; what was its directory stays, without those flags. A
    /// node that lay in its group is linked from there. False, with the copy deleted again and the
    /// node where it was, when its group could not be looked at, has another node of that name
    /// (`eAlreadyExists`), or when its link could not be changed.
    /// Deliberate: returns true also when a step FAILED, such as a file that cannot be read; ask
    /// `ResultDirectoryManager::getLastError`.
    virtual bool copy(const char* destination, bool rename, notify2::IProgress* progress) = 0;
    /// The same, flushes the copy's file system, and then deletes the old directory and flushes
    /// that: a power cut loses nothing of either. A node without a group becomes a member of the
    /// one that it comes to lie in. False, with nothing changed, also when a step or the flush
    /// failed, or when a file that is named like one of a flag's lies in no node's directory and
    /// would be lost; false with `eFileError`, and the node in its new place, when the old
    /// directory cannot be deleted in full, or something in it has come or changed since it was
    /// copied: that stays, with a temporary file that tells of it.
    virtual bool move(const char* destination, bool rename, notify2::IProgress* progress) = 0;
    /// Makes a second node of the same kind at `path`, which must not exist (of a pattern, the next
    /// number is taken), with a copy of all but the flags and, for a result, the link. This node
    /// stays as it is on disk; what was changed and not saved is not copied. Empty when any step
    /// fails; what was made is then deleted.
    virtual basekit2::sptr_t<INode> duplicate(const char* path) const = 0;
};

}  // namespace vesta2
