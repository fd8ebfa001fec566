#pragma once
/// Looks for damage in a group, or in one node. Opens no node and changes no file.

#include <cstddef>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "check/finding.h"
#include "check/node_files.h"
#include "check/repair.h"

namespace cli {

class Inspection {
public:
    /// Looks at the directory at `path`, the nodes in it, those that its links lead to, and all
    /// that these hold. What cannot be looked at is a finding. Symbolic links are not followed.
    explicit Inspection(const std::string& path);

    /// In the order of the walk.
    [[nodiscard]] const std::vector<Finding>& findings() const { return m_findings; }
    [[nodiscard]] std::size_t nodeCount() const { return m_nodes; }

private:
    /// Makes an error of `work` a finding.
    template <class Work>
    void inspect(const std::string& path, const Work& work);
    /// `parent` is null for what a link leads to.
    void inspectDirectory(const std::string& path, const std::set<std::string>& series,
                          const FoundDirectory* parent);
    void inspectWithoutMarker(const FoundDirectory& place, const DirectoryEntries& entries,
                              const std::set<std::string>& series, const FoundDirectory* parent);
    void inspectNode(const FoundDirectory& directory, const DirectoryEntries& entries);
    void inspectMembers(const FoundDirectory& directory, const DirectoryEntries& entries);
    void inspectMarker(const std::string& path);
    void inspectLink(const std::string& path, const std::string& group);
    void inspectFlags(const FoundDirectory& directory, bool isEnded);
    void inspectTemporaries(const FoundDirectory& directory, const DirectoryEntries& entries);

    std::vector<Finding> m_findings;
    std::size_t m_nodes = 0;
    std::set<std::pair<unsigned long long, unsigned long long>> m_seen;
    int m_depth = 0;
};

}  // namespace cli
