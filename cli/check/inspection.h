#pragma once
/// Looks for damage in a group, or in one node. Opens no node and changes no file.

#include <cstddef>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "check/finding.h"

namespace cli {

class Inspection {
public:
    /// Looks at the directory, the nodes in it, those that its links lead to, and all that these
    /// hold. What cannot be looked at is a finding. Symbolic links are not followed.
    explicit Inspection(const std::string& directory);

    /// In the order of the walk.
    [[nodiscard]] const std::vector<Finding>& findings() const { return m_findings; }
    [[nodiscard]] std::size_t nodeCount() const { return m_nodes; }

private:
    struct Entries;

    /// False for a directory that was looked at before.
    bool isNew(const std::string& directory);
    /// Makes an error of `work` a finding.
    template <class Work>
    void inspect(const std::string& path, const Work& work);
    void inspectDirectory(const std::string& directory, const std::set<std::string>& series);
    void inspectWithoutMarker(const std::string& directory, const Entries& entries,
                              const std::set<std::string>& series);
    void inspectNode(const std::string& directory, const Entries& entries);
    void inspectMembers(const std::string& directory, const Entries& entries);
    void inspectMarker(const std::string& path);
    void inspectLink(const std::string& path, const std::string& group);
    void inspectFlags(const std::string& directory, bool isEnded);
    void inspectTemporaries(const Entries& entries);

    std::vector<Finding> m_findings;
    std::size_t m_nodes = 0;
    std::set<std::pair<unsigned long long, unsigned long long>> m_seen;
    int m_depth = 0;
};

}  // namespace cli
