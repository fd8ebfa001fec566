#pragma once
/// What is on the disk when these return outlives a power cut. They throw
/// `boost::filesystem::filesystem_error`.

#include <boost/filesystem/path.hpp>

namespace vesta2 {

/// Flushes an open file, or the names in an open directory; `path` is for messages.
void flush(int file, const boost::filesystem::path& path);
/// Flushes the names in a directory, unless this process may change but not read it.
void flushDirectory(const boost::filesystem::path& directory);
/// Flushes all of the file system that an open file lies on.
void flushFileSystem(int file, const boost::filesystem::path& path);

}  // namespace vesta2
