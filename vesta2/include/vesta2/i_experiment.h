#pragma once
/// An experiment: a node that groups results.
///
/// For one thread at a time, as every node; the static operations may be called on any thread.

#include "vesta2/i_node.h"

namespace vesta2 {

/// What all nodes have is told in `INode`. An experiment may be a member of a project.
class VESTA2_API IExperiment : public INode {
public:
    /// Makes the experiment `name` (a name or pattern, or the marker file to write) in `parentDir`,
    /// or in the working directory when that is null, and opens it. Returns: the experiment; empty
    /// on failure. Status: as `ResultDirectoryManager::create`. Disk: as `IProject::create`.
    /// Status: `eAlreadyExists` for a directory that is there.
    /// Deliberate: unlike a project, an experiment is not made in a directory that is already
    /// there.
    static basekit2::sptr_t<IExperiment> create(const char* name, const char* parentDir);
    /// Opens an experiment.
    /// Returns: the one that `name` denotes below `parentDir`, of a pattern the greatest match;
    /// empty when there is none. Status: as `findLastMatching`.
    static basekit2::sptr_t<IExperiment> open(const char* name, const char* parentDir);
    /// Returns: the same node as an experiment; empty when it is none.
    static basekit2::sptr_t<IExperiment> cast(const basekit2::sptr_t<INode>& node);
    /// Returns: whether `path` denotes an experiment: see `IResultDirectory::probe`.
    static bool probe(const char* path);
};

}  // namespace vesta2
