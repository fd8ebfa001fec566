#pragma once
/// Values as JSON. Numbers that a reader's double cannot hold become decimal strings, and
/// text that is not UTF-8 becomes {"bytes": "<base64>"}. Who makes values includes the whole of the
/// JSON library, which takes long to read.

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

#include "basekit2/variant.h"

namespace cli {

using Json = nlohmann::ordered_json;

Json jsonText(std::string_view text);
/// Null for an empty one.
Json jsonTextOrNull(std::string_view text);
/// A member's name, which cannot be an object: escaped when it is not UTF-8.
std::string jsonName(const std::string& name);
/// A number as long as 53 bits hold it, else its digits.
Json jsonNumber(std::int64_t number);
Json jsonValue(const basekit2::variant_t& value);
Json jsonBag(const basekit2::variant_bag_t& bag);

}  // namespace cli
