#pragma once
/// Facts and properties as tables show them.

#include <string>
#include <vector>

#include "output/table.h"
#include "select/value.h"

namespace cli {

/// The keys in texts such as "name,elapsed". Raises `Failure` for an empty one; `option` is what
/// they were given for.
std::vector<std::string> splitKeys(const std::vector<std::string>& texts, const char* option);

Column columnFor(const std::string& key);
/// A failure stands out.
Cell cellFor(const std::string& key, const Value& value, bool forPeople);

}  // namespace cli
