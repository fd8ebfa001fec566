#pragma once
/// What the data files say, once they are read. Any bag serves: what it does not tell is as if
/// there were no file.

#include <memory>
#include <string>

#include "basekit2/variant.h"
#include "optstore2/product_locations.h"
#include "platkit/i18n.h"

namespace optstore2 {

/// The product; what is set here is built in.
struct product_t {
    explicit product_t(const basekit2::variant_bag_t& bag);

    std::string short_name = "zentor";
    std::string name = "vesta2";
    version_t version;
};

/// The texts of a message catalog; null when there is none.
std::unique_ptr<platkit::i18n::catalog_t> makeCatalog(const basekit2::variant_bag_t& bag);

}  // namespace optstore2
