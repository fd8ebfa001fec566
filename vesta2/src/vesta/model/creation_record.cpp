#include "creation_record.h"

#include <ctime>

#include "optstore2/product_locations.h"
#include "property_names.h"
#include "vesta2/names.h"
#include "vesta2/system_info.h"

namespace vesta2 {

void fillCreationRecord(basekit2::variant_bag_t& bag) {
    using optstore2::IProductLocations;
    const IProductLocations& product = IProductLocations::get();
    SystemInfo system;
    basekit2::variant_bag_t& vesta = bag.put_bag(vestaSection);
    vesta.put(timestampKey, static_cast<std::uint64_t>(std::time(nullptr)));
    vesta.put(hostnameKey, getFQDN());
    vesta.put(osKey, "linux");
    vesta.put(productKey, product.query(IProductLocations::short_name));
    vesta.put(buildNumberKey, static_cast<std::int32_t>(product.getVersion().build_number));
    vesta.put(logicalCpuCountKey, static_cast<std::int32_t>(system.cpuCount()));
    vesta.put(cpuFrequencyKey, static_cast<std::int64_t>(system.cpuFrequency()));
}

}  // namespace vesta2
