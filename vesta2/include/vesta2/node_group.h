#pragma once
/// The object behind `INodeGroup`, which tells what its operations do.
///
/// The group of a project or experiment may be counted on any thread, as its owner; one that stands
/// alone counts without a lock and is for one thread.

#include <cstdint>
#include <string>

#include "vesta2/export.h"
#include "vesta2/i_node_group.h"

namespace vesta2 {

class Node;

/// The group of a project or experiment is counted by its owner, which also deletes it: a handle on
/// the group keeps the owner alive. One that stands alone counts and deletes itself.
class VESTA2_API NodeGroup : public INodeGroup {
public:
    /// `owner` is the node whose group this is, and outlives it; null for one that stands alone.
    NodeGroup(std::string path, Node* owner);

    unsigned add_ref() const override;
    unsigned release() const override;
    const char* getPath() override;
    basekit2::sptr_t<IPathIterator> getNodePaths() override;
    basekit2::generic_iterator_t<basekit2::sptr_t<INode>> getNodes(const char* mask,
                                                                   int maxCount) override;
    basekit2::sptr_t<INode> addNode(const char* path) override;
    void purge(const char* mask, int keep) override;
    bool isEmpty() override;
    basekit2::sptr_t<IResultDirectory>
    createResultDirectory(const char* pattern, const basekit2::variant_bag_t* properties) override;
    basekit2::sptr_t<IResultDirectory> openResultDirectory(const char* name) override;
    basekit2::sptr_t<IExperiment> createExperiment(const char* name) override;
    basekit2::sptr_t<IExperiment> openExperiment(const char* name) override;
    basekit2::sptr_t<IProject> createProject(const char* name, bool removeOnClose) override;
    basekit2::sptr_t<IProject> openProject(const char* name) override;
    basekit2::sptr_t<INode> getNode() override;
    void setOutputDirectory(const char* directory) override;
    const char* getOutputDirectory() override;

    /// Follows the owner to another directory. Disk: nothing is read or written.
    void setPath(const std::string& path);

private:
    mutable std::uint32_t m_references = 0;
    std::string m_path;
    Node* m_owner;
    std::string m_outputDirectory;
};

}  // namespace vesta2
