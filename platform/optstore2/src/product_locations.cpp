#include "optstore2/product_locations.h"

#include "basekit2/bag_io.h"
#include "data_texts.h"
#include "optstore2/data_files.h"

namespace optstore2 {
namespace {

/// An empty bag, which tells nothing, where the file cannot be read.
basekit2::variant_bag_t readProductFile() {
    basekit2::variant_bag_t bag;
    const std::string file = findDataFile("product.xml");
    if (!file.empty()) {
        basekit2::load_variant_bag(bag, file, "");
    }
    return bag;
}

class ProductLocations final : public IProductLocations {
public:
    [[nodiscard]] const char* query(int selector) const override {
        switch (selector) {
        case short_name:
            return m_product.short_name.c_str();
        case product_name:
            return m_product.name.c_str();
        default:
            return "";
        }
    }

    [[nodiscard]] version_t getVersion() const override { return m_product.version; }

private:
    const product_t m_product{readProductFile()};
};

}  // namespace

const IProductLocations& IProductLocations::get() {
    // Never destroyed: other static objects may ask while the process ends.
    static const auto& service = *new ProductLocations();
    return service;
}

}  // namespace optstore2
