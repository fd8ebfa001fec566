#pragma once
/// Tags: words by which people sort results. They are one property, sorted by bytes, each once,
/// with a blank between them.

#include <string>
#include <vector>

#include "basekit2/variant.h"
#include "vesta2/i_node.h"

namespace cli {

/// Raises `Failure` for what is no tag: nothing, and what has a blank, a comma or a control
/// character, or begins with "+" or "-".
void requireTag(const std::string& tag);

std::vector<std::string> tagsOf(vesta2::INode& node);
/// The tags in the value of the property.
std::vector<std::string> splitTags(const basekit2::variant_t& joined);

/// Puts the property in memory; there is none without tags. They may be in any order, and twice.
void setTags(vesta2::INode& node, std::vector<std::string> tags);

}  // namespace cli
