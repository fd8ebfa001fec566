#pragma once
/// What the running product is called.
///
/// Safe from any thread, also while libraries are still being loaded.

#include <cstdint>
#include <string>

#include "basekit2/export.h"

namespace optstore2 {

/// The version of a product. Layout: these four numbers.
struct version_t {
    std::uint32_t major_part = 0;
    std::uint32_t minor_part = 0;
    std::uint32_t patch_part = 0;
    std::uint32_t build_number = 0;
};

/// The product as its file `product.xml` describes it, which is read once, at the first use.
/// Without the file, or where it does not tell, the built-in values serve; so they do for a short
/// name that is not 1 to 32 letters, digits, "_" and "-".
class BASEKIT2_API IProductLocations {
public:
    /// What `query` can be asked.
    enum selector_t : int {
        product_name = 1,  ///< the name for people
        short_name = 7,    ///< the word that file extensions derive from
    };

    /// Returns: the one service of the process. Lifetime: the process.
    static const IProductLocations& get();

    /// Returns: the text for `selector`; empty for an unknown one. Lifetime: the process.
    [[nodiscard]] virtual const char* query(int selector) const = 0;
    /// Returns: the version of the product.
    [[nodiscard]] virtual version_t getVersion() const = 0;

    virtual ~IProductLocations() = default;
    IProductLocations(const IProductLocations&) = delete;
    IProductLocations& operator=(const IProductLocations&) = delete;

protected:
    IProductLocations() = default;
};

}  // namespace optstore2
