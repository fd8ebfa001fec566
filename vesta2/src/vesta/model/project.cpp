#include "vesta2/project.h"

#include "vesta2/node_group.h"

namespace vesta2 {

using basekit2::sptr_t;

Project::Project(std::string path, const char* parentGroupPath)
    : NodeFacade(std::move(path), parentGroupPath) {
    setOwnGroup(std::make_unique<NodeGroup>(getPath(), this));
}

sptr_t<INodeGroup> Project::getNodeGroup() { return ownGroup(); }

sptr_t<IProject> IProject::cast(const sptr_t<INode>& node) {
    return sptr_t<IProject>(dynamic_cast<Project*>(node.get()));
}

}  // namespace vesta2
