#pragma once
/// The nodes of one directory.
///
/// For one thread at a time. Handles on a node's group may be dropped on any thread; one on a group
/// that stands alone must not be shared between threads without a lock.
///
///     const auto group = vesta2::INodeGroup::open("/runs");
///     for (auto nodes = group->getNodes("r@@@", 10); !nodes.at_end(); nodes.next()) {
///         if (const auto node = nodes.current()) {
///             std::cout << node->getUserVisibleName() << '\n';
///         }
///     }
///
/// A group is a project's, an experiment's, or stands alone on a plain directory. A handle on a
/// node's group keeps that node alive.

#include "basekit2/iterator.h"
#include "basekit2/object.h"
#include "basekit2/variant.h"
#include "vesta2/export.h"
#include "vesta2/i_experiment.h"
#include "vesta2/i_path_iterator.h"
#include "vesta2/i_project.h"
#include "vesta2/i_result_directory.h"

namespace vesta2 {

class VESTA2_API INodeGroup : public basekit2::object_interface_t {
public:
    /// Returns: the group's directory.
    /// Lifetime: as long as the group is bound to it.
    virtual const char* getPath() = 0;
    /// Returns: the marker and link files of the group's nodes, in file-name order, as they are
    /// now. Status: `eNotFound` for an empty group.
    virtual basekit2::sptr_t<IPathIterator> getNodePaths() = 0;
    /// Returns: the nodes that match `mask` (a name, a pattern, or "*"; null for all), in file-name
    /// order; only the `maxCount` greatest, all when it is 0. Each is opened when the iterator
    /// reaches it; one that was removed meanwhile gives an empty handle.
    /// Status: as `findPatternedMarkerFileOrLink`.
    virtual basekit2::generic_iterator_t<basekit2::sptr_t<INode>> getNodes(const char* mask,
                                                                           int maxCount) = 0;
    /// Takes the node at `path`, wherever it is stored, into this project or experiment, by a link
    /// file when it lies elsewhere.
    /// Returns: the node; empty when this group is no node's, when there is no node, when that kind
    /// does not go here (a project goes nowhere, an experiment not into an experiment), or when the
    /// link cannot be written.
    /// Status: `eAlreadyExists` when the group has another node of that name. A node that cannot
    /// name its link back, such as a read-only one, is a member all the same; the status tells.
    /// Disk: writes the link file, and the property "backlink" into the node's marker file.
    virtual basekit2::sptr_t<INode> addNode(const char* path) = 0;
    /// Deletes the nodes that match `mask` (null for all), but for the `keep` last in file-name
    /// order. Status: why one could not be deleted, which is passed over; `eNotFound` when the
    /// search finds nothing; `eInvalidPath`, and nothing is deleted, for a mask with a "/". Disk:
    /// as `INode::remove` of each. What a link to this group or above it leads to stays.
    virtual void purge(const char* mask, int keep) = 0;
    /// Returns: whether no node is found in the group.
    virtual bool isEmpty() = 0;
    // As `ResultDirectoryManager::create`, and the operations of `IExperiment` and `IProject`, in
    // this group.

    virtual basekit2::sptr_t<IResultDirectory>
    createResultDirectory(const char* pattern, const basekit2::variant_bag_t* properties) = 0;
    virtual basekit2::sptr_t<IResultDirectory> openResultDirectory(const char* name) = 0;
    virtual basekit2::sptr_t<IExperiment> createExperiment(const char* name) = 0;
    virtual basekit2::sptr_t<IExperiment> openExperiment(const char* name) = 0;
    virtual basekit2::sptr_t<IProject> createProject(const char* name, bool removeOnClose) = 0;
    virtual basekit2::sptr_t<IProject> openProject(const char* name) = 0;
    /// Returns: the project or experiment whose group this is; empty for a plain directory.
    virtual basekit2::sptr_t<INode> getNode() = 0;
    /// Sets where new nodes of this group are made.
    /// Disk: for a node's group it is saved in its marker file at once.
    virtual void setOutputDirectory(const char* directory) = 0;
    /// Returns: the group's own directory unless another was set.
    /// Lifetime: until the next call, from whatever thread.
    virtual const char* getOutputDirectory() = 0;

    /// Opens the group at `path`.
    /// Returns: that of the project or experiment there, else one that stands alone on the
    /// directory; empty when there is neither. Status: `eNotFound`, or `eParameterError` for an
    /// empty path. Throws `boost::filesystem::filesystem_error` when it cannot be told what is
    /// there.
    static basekit2::sptr_t<INodeGroup> open(const char* path);
    /// Returns: the projects among the entries of `directory`, in the order in which it lists them.
    /// Status: as `ProjectPathIterator`.
    static basekit2::sptr_t<IPathIterator> findProjects(const char* directory);
};

}  // namespace vesta2
