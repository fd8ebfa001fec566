#include "output/json.h"

#include <nlohmann/json.hpp>

#include "base/text.h"
#include "basekit2/utf8.h"

namespace cli {

using kind_t = basekit2::variant_t::kind_t;

Json jsonText(std::string_view text) {
    if (basekit2::is_utf8(text)) {
        return std::string(text);
    }
    return {{"bytes", base64(text)}};
}

Json jsonTextOrNull(std::string_view text) { return text.empty() ? Json() : jsonText(text); }

std::string jsonName(const std::string& name) {
    return basekit2::is_utf8(name) ? name : escapeText(name);
}

Json jsonNumber(std::int64_t number) {
    constexpr std::int64_t greatest = std::int64_t{1} << 53;
    const bool isExact = -greatest <= number && number <= greatest;
    return isExact ? Json(number) : Json(std::to_string(number));
}

Json jsonValue(const basekit2::variant_t& value) {
    switch (value.kind()) {
    case kind_t::int32:
    case kind_t::uint32:
    case kind_t::int64:
        return jsonNumber(value.to_int64());
    case kind_t::uint64:
        return value.to_int64() < 0
                   ? Json(std::to_string(static_cast<std::uint64_t>(value.to_int64())))
                   : jsonNumber(value.to_int64());
    case kind_t::str:
        return jsonText(*value.as_string());
    case kind_t::bag:
        return jsonBag(*value.as_bag());
    case kind_t::empty:
        break;
    }
    return nullptr;
}

Json jsonBag(const basekit2::variant_bag_t& bag) {
    Json object = Json::object();
    for (const auto& [name, value] : bag) {
        object[jsonName(name)] = jsonValue(value);
    }
    return object;
}

}  // namespace cli
