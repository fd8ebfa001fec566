#include <regex>

#include "basekit2/bag_io.h"
#include "data_texts.h"
#include "fuzz.h"

namespace {

/// With "first" and "" for the places 0 and 1; all others stay.
std::string filled(const std::string& text) {
    static const std::regex first("\\{0+\\}");
    static const std::regex second("\\{0*1\\}");
    return std::regex_replace(std::regex_replace(text, first, "first"), second, "");
}

}  // namespace

void fuzz::judge(std::string_view input) {
    basekit2::variant_bag_t bag;
    basekit2::load_variant_bag_from_string(bag, input);
    const std::string name = optstore2::product_t(bag).short_name;
    require(!name.empty() && name.size() <= 32 && name.find_first_of("./\\{@*\n ") == name.npos);
    bag.put("message", std::string(input));
    const auto catalog = optstore2::makeCatalog(bag);
    for (const auto& entry : bag) {
        const std::string* text = entry.value.as_string();
        require(catalog->message(entry.name).as_ustring({"first", ""}) ==
                filled(text ? *text : entry.name));
    }
}
