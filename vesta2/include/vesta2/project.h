#pragma once

#include <string>

#include "vesta2/export.h"
#include "vesta2/i_project.h"
#include "vesta2/node_facade.h"

namespace vesta2 {

/// The object behind `IProject`. It owns the group of the nodes in its directory.
class VESTA2_API Project : public NodeFacade<IProject> {
public:
    Project(std::string path, const char* parentGroupPath);

    basekit2::sptr_t<INodeGroup> getNodeGroup() override;
    basekit2::sptr_t<INode> duplicate(const char* path) const override;
};

}  // namespace vesta2
