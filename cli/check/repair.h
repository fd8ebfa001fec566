#pragma once
/// Repairs that lose nothing. Each makes sure that the thing is still what was found, and raises
/// `Failure` when it cannot be, or need not yet be, mended.

#include <string>
#include <utility>

#include "basekit2/descriptor.h"

namespace cli {

/// A directory, as it was found.
class FoundDirectory {
public:
    /// Raises `Failure` when it cannot be looked at.
    explicit FoundDirectory(std::string path);

    [[nodiscard]] const std::string& path() const { return m_path; }
    /// Equal for one directory that was found by several paths.
    [[nodiscard]] std::pair<unsigned long long, unsigned long long> key() const { return m_key; }
    /// Raises `Failure` when something else is in its place by now.
    [[nodiscard]] basekit2::descriptor_t open() const;

private:
    std::string m_path;
    std::pair<unsigned long long, unsigned long long> m_key;
};

/// An empty directory that no creation can be at work in any more.
void removeEmptyDirectory(const FoundDirectory& parent, const std::string& name);
/// A temporary file that no process can be writing any more.
void removeTemporary(const FoundDirectory& directory, const std::string& name);
/// A flag whose owner has ended.
void clearFlag(const FoundDirectory& directory, const std::string& name);
/// The link file at `path` in the directory of `group`.
void renewLink(const std::string& path, const std::string& group);

}  // namespace cli
