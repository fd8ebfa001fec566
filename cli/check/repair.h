#pragma once
/// Repairs that lose nothing. Each makes sure that the thing is still what was found, and raises
/// `Failure` when it cannot be, or need not yet be, mended.

#include <string>

namespace cli {

/// An empty directory that no creation can be at work in any more.
void removeEmptyDirectory(const std::string& directory);
/// A temporary file that no process can be writing any more.
void removeTemporary(const std::string& path);
/// A flag whose owner has ended.
void clearFlag(const std::string& directory, const std::string& name);
/// The link file at `path` in the directory of `group`.
void renewLink(const std::string& path, const std::string& group);

}  // namespace cli
