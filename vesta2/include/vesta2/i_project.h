#pragma once
/// A project: a node that groups experiments and results.
///
/// For one thread at a time, as every node; the static operations may be called on any thread.

#include "vesta2/i_node.h"

namespace vesta2 {

/// What all nodes have is told in `INode`. Nodes of a project lie in its directory or are linked
/// there.
class VESTA2_API IProject : public INode {
public:
    /// Makes the project `name` (a name or pattern, or the marker file to write) in `parentDir`, or
    /// in the working directory when that is null, and opens it. With `removeOnClose` it is deleted
    /// at its last release.
    /// Returns: the project; empty on failure.
    /// Status: as `ResultDirectoryManager::create`.
    /// Disk: missing parents are made; a new directory without marker file is deleted again.
    /// Deliberate: a directory that is already there becomes the project. One that is a project is
    /// opened as it is, and not deleted at its last release.
    static basekit2::sptr_t<IProject> create(const char* name, const char* parentDir,
                                             bool removeOnClose);
    /// Opens a project.
    /// Returns: the one that `name` denotes below `parentDir`, of a pattern the greatest match;
    /// empty when there is none. Status: as `findLastMatching`.
    static basekit2::sptr_t<IProject> open(const char* name, const char* parentDir);
    /// Returns: the same node as a project; empty when it is none.
    static basekit2::sptr_t<IProject> cast(const basekit2::sptr_t<INode>& node);
    /// Returns: whether `path` denotes a project: see `IResultDirectory::probe`.
    static bool probe(const char* path);
};

}  // namespace vesta2
