#include "data_texts.h"

#include <string_view>

namespace optstore2 {
namespace {

/// Every file that the library makes or looks for is named after it.
bool isShortName(std::string_view text) {
    constexpr std::string_view allowed =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-";
    return !text.empty() && text.size() <= 32 &&
           text.find_first_not_of(allowed) == std::string_view::npos;
}

void readText(const basekit2::variant_bag_t& bag, const char* name, std::string& out) {
    const basekit2::variant_t* value = bag.find(name);
    if (value && value->as_string()) {
        out = *value->as_string();
    }
}

std::uint32_t readPart(const basekit2::variant_bag_t& version, const char* name) {
    return static_cast<std::uint32_t>(version.get_variant(name).to_int64());
}

}  // namespace

product_t::product_t(const basekit2::variant_bag_t& bag) {
    std::string shortName;
    readText(bag, "shortName", shortName);
    short_name = isShortName(shortName) ? shortName : short_name;
    readText(bag, "name", name);
    if (const basekit2::variant_bag_t* parts = bag.get_bag("version")) {
        version.major_part = readPart(*parts, "major");
        version.minor_part = readPart(*parts, "minor");
        version.patch_part = readPart(*parts, "patch");
        version.build_number = readPart(*parts, "build");
    }
}

std::unique_ptr<platkit::i18n::catalog_t> makeCatalog(const basekit2::variant_bag_t& bag) {
    auto catalog = bag.empty() ? nullptr : std::make_unique<platkit::i18n::catalog_t>();
    for (const auto& entry : bag) {
        if (const std::string* text = entry.value.as_string()) {
            catalog->add(entry.name, *text);
        }
    }
    return catalog;
}

}  // namespace optstore2
