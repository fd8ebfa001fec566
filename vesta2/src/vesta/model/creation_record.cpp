#include "creation_record.h"

#include <ctime>

#include "optstore2/product_locations.h"
#include "vesta2/names.h"
#include "vesta2/property_names.h"
#include "vesta2/system_info.h"

namespace vesta2 {

void fillCreationRecord(basekit2::variant_bag_t& bag) {
    using optstore2::IProductLocations;
    const IProductLocations& product = IProductLocations::get();
    SystemInfo system;
    basekit2::variant_bag_t& vesta = bag.put_bag(section::vesta);
    vesta.put(property::timestamp, static_cast<std::uint64_t>(std::time(nullptr)));
    vesta.put(property::hostname, getFQDN());
    vesta.put(property::os, os_name::ofLinux);
    vesta.put(property::product, product.query(IProductLocations::short_name));
    vesta.put(property::buildNumber, static_cast<std::int32_t>(product.getVersion().build_number));
    vesta.put(property::logicalCpuCount, static_cast<std::int32_t>(system.cpuCount()));
    vesta.put(property::cpuFrequency, static_cast<std::int64_t>(system.cpuFrequency()));
}

}  // namespace vesta2
