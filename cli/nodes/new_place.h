#pragma once
/// Where a copy of a node is to be made.

#include <cstdint>
#include <string>
#include <vector>

#include "base/failure.h"
#include "vesta2/i_node.h"

namespace cli {

/// Finds out before anything is copied what would go wrong: afterwards the library's codes tell
/// little.
class NewPlace {
public:
    /// Raises `Failure` when `node`, all but the names that match `exclusions`, cannot be copied to
    /// the path `argument`.
    NewPlace(const std::string& argument, vesta2::INode& node,
             const std::vector<std::string>& exclusions);

    [[nodiscard]] const std::string& path() const { return m_path; }

    /// That the copy failed and has been undone, with the likeliest reason.
    [[nodiscard]] Failure failure(vesta2::error_t status) const;
    /// That the user did not want it any more, and it has been undone.
    [[nodiscard]] Failure cancelled() const;

private:
    void requireNew() const;
    void requireUsableParent() const;
    /// Also sums up what is to be copied.
    void requireReadable(const std::vector<std::string>& exclusions);
    [[nodiscard]] std::uint64_t freeBytes() const;
    [[nodiscard]] Failure noSpace() const;

    std::string m_source;
    std::string m_path;
    std::string m_parent;
    std::uint64_t m_storedBytes = 0;
};

}  // namespace cli
