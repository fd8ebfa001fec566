#pragma once
/// Tests of extensions on bare names, which need no path object.

#include <string_view>

#include "vesta2/file_set.h"

namespace vesta2 {

/// From the last "." of `name` on; empty without one.
std::string_view extensionOf(std::string_view name);
bool isOneOf(std::string_view extension, const FileSet& extensions);
/// Whether `extension` is one of `extensions` followed by the link suffix.
bool isLinkOfOneOf(std::string_view extension, const FileSet& extensions);
/// Whether `extension` is a link's, of whatever kind of node.
bool isAnyLink(std::string_view extension);

}  // namespace vesta2
