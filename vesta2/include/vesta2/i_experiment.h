#pragma once

#include "vesta2/i_node.h"

namespace vesta2 {

/// An experiment: a node that groups results.
class VESTA2_API IExperiment : public INode {
public:
    /// Makes the experiment `name` in `parentDir` and opens it; empty on failure.
    /// Deliberate: unlike a project, an experiment is not made in a directory that is already
    /// there.
    static basekit2::sptr_t<IExperiment> create(const char* name, const char* parentDir);
    /// Opens the experiment that `name` denotes below `parentDir`; of a pattern the greatest match.
    static basekit2::sptr_t<IExperiment> open(const char* name, const char* parentDir);
    /// The same node as an experiment; empty when it is none.
    static basekit2::sptr_t<IExperiment> cast(const basekit2::sptr_t<INode>& node);
    /// Whether `path` denotes an experiment: see `IResultDirectory::probe`.
    static bool probe(const char* path);
};

}  // namespace vesta2
