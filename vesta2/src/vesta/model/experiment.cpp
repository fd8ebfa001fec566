#include "vesta2/experiment.h"

#include "vesta2/node_group.h"

namespace vesta2 {

using basekit2::sptr_t;

Experiment::Experiment(std::string path, const char* parentGroupPath)
    : NodeFacade(std::move(path), parentGroupPath) {
    setOwnGroup(std::make_unique<NodeGroup>(getPath(), this));
}

sptr_t<INodeGroup> Experiment::getNodeGroup() { return ownGroup(); }

sptr_t<IExperiment> IExperiment::cast(const sptr_t<INode>& node) {
    return sptr_t<IExperiment>(dynamic_cast<Experiment*>(node.get()));
}

}  // namespace vesta2
