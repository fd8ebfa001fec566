#include "optstore2/product_locations.h"

#include <string_view>

#include "basekit2/bag_io.h"
#include "optstore2/data_files.h"

namespace optstore2 {
namespace {

constexpr const char* default_short_name = "zentor";
constexpr const char* default_product_name = "vesta2";

/// Every file that the library makes or looks for is named after it.
bool isShortName(std::string_view text) {
    constexpr std::string_view allowed =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-";
    return !text.empty() && text.size() <= 32 &&
           text.find_first_not_of(allowed) == std::string_view::npos;
}

class ProductLocations final : public IProductLocations {
public:
    ProductLocations() {
        basekit2::variant_bag_t bag;
        const std::string file = findDataFile("product.xml");
        if (file.empty() || basekit2::bag_failed(basekit2::load_variant_bag(bag, file, ""))) {
            return;
        }
        std::string shortName;
        readText(bag, "shortName", shortName);
        m_shortName = isShortName(shortName) ? shortName : m_shortName;
        readText(bag, "name", m_productName);
        if (const basekit2::variant_bag_t* version = bag.get_bag("version")) {
            m_version.major_part = readPart(*version, "major");
            m_version.minor_part = readPart(*version, "minor");
            m_version.patch_part = readPart(*version, "patch");
            m_version.build_number = readPart(*version, "build");
        }
    }

    [[nodiscard]] const char* query(int selector) const override {
        switch (selector) {
        case short_name:
            return m_shortName.c_str();
        case product_name:
            return m_productName.c_str();
        default:
            return "";
        }
    }

    [[nodiscard]] version_t getVersion() const override { return m_version; }

private:
    static void readText(const basekit2::variant_bag_t& bag, const char* name, std::string& out) {
        const basekit2::variant_t* value = bag.find(name);
        if (value && value->as_string()) {
            out = *value->as_string();
        }
    }

    static std::uint32_t readPart(const basekit2::variant_bag_t& version, const char* name) {
        return static_cast<std::uint32_t>(version.get_variant(name).to_int64());
    }

    std::string m_shortName = default_short_name;
    std::string m_productName = default_product_name;
    version_t m_version;
};

}  // namespace

const IProductLocations& IProductLocations::get() {
    // Never destroyed: other static objects may ask while the process ends.
    static const auto& service = *new ProductLocations();
    return service;
}

}  // namespace optstore2
