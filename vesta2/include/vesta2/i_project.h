#pragma once

#include "vesta2/i_node.h"

namespace vesta2 {

/// A project: a node that groups experiments and results.
class VESTA2_API IProject : public INode {
public:
    /// Makes the project `name` (a name or pattern, or the marker file to write) in `parentDir` and
    /// opens it; empty on failure. With `removeOnClose` it is deleted at its last release. A parent
    /// directory that is not there is made.
    /// Deliberate: a directory that is already there becomes the project. One that is a project is
    /// opened as it is, and not deleted at its last release.
    static basekit2::sptr_t<IProject> create(const char* name, const char* parentDir,
                                             bool removeOnClose);
    /// Opens the project that `name` denotes below `parentDir`; of a pattern the greatest match.
    static basekit2::sptr_t<IProject> open(const char* name, const char* parentDir);
    /// The same node as a project; empty when it is none.
    static basekit2::sptr_t<IProject> cast(const basekit2::sptr_t<INode>& node);
    /// Whether `path` denotes a project: see `IResultDirectory::probe`.
    static bool probe(const char* path);
};

}  // namespace vesta2
