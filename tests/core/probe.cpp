/// Prints what the library makes of its arguments, in a process that was started for it alone.

#include <cstdlib>
#include <iostream>
#include <string>

#include "optstore2/product_locations.h"
#include "vesta2/names.h"

namespace {

void printNames() {
    using namespace vesta2;
    const auto& product = optstore2::IProductLocations::get();
    const optstore2::version_t version = product.getVersion();
    std::cout << product.query(optstore2::IProductLocations::product_name) << '\n'
              << version.major_part << '.' << version.minor_part << '.' << version.patch_part << '.'
              << version.build_number << '\n'
              << resultMarkerFileExt() << ' ' << projectMarkerFileExt() << ' '
              << experimentMarkerFileExt() << '\n'
              << resultLinkExt() << ' ' << projectLinkExt() << ' ' << experimentLinkExt() << '\n'
              << getFlagLockExtension() << ' ' << getFlagInfoExtension() << '\n';
}

}  // namespace

/// names | message CODE | check NAME...
int main(int argc, char** argv) {
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "names") {
        printNames();
    } else if (what == "message") {
        std::cout << vesta2::toString(static_cast<vesta2::error_t>(std::atoi(argv[2]))) << '\n';
    } else {
        for (int i = 2; i < argc; ++i) {
            vesta2::validateFileName(argv[i]);
        }
    }
    return 0;
}
