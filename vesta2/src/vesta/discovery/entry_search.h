#pragma once

#include <string>

#include "directory_listing.h"
#include "vesta2/file_set.h"

namespace vesta2 {

/// What identifies the node at the current entry of `listing`, marker files themselves only with
/// `acceptMarkerFile`; empty when that is no node, when it has just gone, and when this process may
/// not look at it: a directory that others keep to themselves must not hide the rest. Throws
/// `boost::filesystem::filesystem_error` for any other error.
std::string findInEntry(const DirectoryListing& listing, const FileSet& extensions,
                        bool acceptMarkerFile);

}  // namespace vesta2
