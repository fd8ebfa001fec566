#include "optstore2/product_locations.h"

#include <dlfcn.h>
#include <unistd.h>

#include "basekit2/bag_io.h"
#include "basekit2/host.h"
#include "basekit2/path.h"

namespace optstore2 {
namespace {

constexpr const char* default_short_name = "zentor";
constexpr const char* default_product_name = "vesta2";

class ProductLocations final : public IProductLocations {
public:
    ProductLocations() {
        basekit2::variant_bag_t bag;
        const std::string file = findDataFile("product.xml");
        if (file.empty() || basekit2::bag_failed(basekit2::load_variant_bag(bag, file, ""))) {
            return;
        }
        readText(bag, "shortName", m_shortName);
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

/// The directory of the file that holds this code: the shared library, once it is linked.
basekit2::path_t libraryDirectory() {
    Dl_info info{};
    if (::dladdr(reinterpret_cast<void*>(&libraryDirectory), &info) == 0 || !info.dli_fname) {
        return basekit2::path_t();
    }
    return basekit2::path_t(info.dli_fname).parent();
}

}  // namespace

const IProductLocations& IProductLocations::get() {
    // Never destroyed: other static objects may ask while the process ends.
    static const auto& service = *new ProductLocations();
    return service;
}

std::string findDataFile(const std::string& name) {
    const basekit2::path_t candidates[] = {
        basekit2::path_t(basekit2::get_environ_value("VESTA2_DATA_DIR")),
        libraryDirectory().join("../share/vesta2"),
        basekit2::path_t(VESTA2_INSTALL_DATA_DIR),
    };
    for (const basekit2::path_t& directory : candidates) {
        const basekit2::path_t file = directory.join(name);
        if (!directory.text().empty() && ::access(file.c_str(), R_OK) == 0) {
            return file.text();
        }
    }
    return {};
}

}  // namespace optstore2
