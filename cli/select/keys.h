#pragma once
/// The keys that stand for what every result has. Any other key is the path of a property.

#include <string>
#include <string_view>
#include <vector>

#include "select/value.h"

namespace cli {

struct FactKey {
    std::string_view name;
    Measure measure;
    std::string_view choices{};  ///< all its values, each between blanks; any when empty
};

/// Null for the path of a property.
const FactKey* findFact(std::string_view name);

std::vector<std::string> factNames();

}  // namespace cli
