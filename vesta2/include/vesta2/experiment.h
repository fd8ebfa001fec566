#pragma once
/// The object behind `IExperiment`, which tells what its operations do.
///
/// Made by the library alone: to get one, use the operations of `IExperiment` and
/// `ResultDirectoryManager`. For one thread at a time, as every node; handles may be dropped on
/// any.

#include <string>

#include "vesta2/export.h"
#include "vesta2/i_experiment.h"
#include "vesta2/node_facade.h"

namespace vesta2 {

/// A node by its base `Node`. It owns the group of the nodes in its directory.
class VESTA2_API Experiment : public NodeFacade<IExperiment> {
public:
    Experiment(std::string path, const char* parentGroupPath);

    basekit2::sptr_t<INodeGroup> getNodeGroup() override;
    basekit2::sptr_t<INode> duplicate(const char* path) const override;
};

}  // namespace vesta2
