#pragma once
/// What the running product is called, and where its data files are.

#include <cstdint>
#include <string>

#include "basekit2/export.h"

namespace optstore2 {

/// Four parts, the fourth is the build number.
struct version_t {
    std::uint32_t major_part = 0;
    std::uint32_t minor_part = 0;
    std::uint32_t patch_part = 0;
    std::uint32_t build_number = 0;
};

/// The product as its file `product.xml` describes it. Without the file, or where it does not tell,
/// the built-in values serve; so they do for a short name that is not 1 to 32 letters, digits, "_"
/// and "-". Read once, at the first use; safe from any thread, also while
/// libraries are still being loaded.
class BASEKIT2_API IProductLocations {
public:
    /// What `query` can be asked.
    enum selector_t : int {
        product_name = 1,  ///< the name for people
        short_name = 7,    ///< the word that file extensions derive from
    };

    /// The one service of the process; it lives as long as the process.
    static const IProductLocations& get();

    /// The text for `selector`, empty for an unknown one. Valid for the life of the process.
    [[nodiscard]] virtual const char* query(int selector) const = 0;
    [[nodiscard]] virtual version_t getVersion() const = 0;

    virtual ~IProductLocations() = default;
    IProductLocations(const IProductLocations&) = delete;
    IProductLocations& operator=(const IProductLocations&) = delete;

protected:
    IProductLocations() = default;
};

}  // namespace optstore2
