#pragma once
/// The destination of a copy.

#include <cstdint>
#include <string>
#include <vector>

#include "base/failure.h"
#include "vesta2/i_node.h"

namespace cli {

/// Checks the destination and the source before anything is copied: the library's codes do not tell
/// why a copy failed.
class NewPlace {
public:
    /// Raises `Failure` when `node`, all but the names that match `exclusions`, cannot be copied to
    /// the path `argument`.
    NewPlace(const std::string& argument, vesta2::INode& node,
             const std::vector<std::string>& exclusions);

    [[nodiscard]] const std::string& path() const { return m_path; }

    /// The error for a copy that failed and was undone, with the likeliest reason.
    [[nodiscard]] Failure failure(vesta2::error_t status) const;
    /// The error for a copy that was cancelled and undone.
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
