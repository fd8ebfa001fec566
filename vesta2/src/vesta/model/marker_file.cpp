#include "vesta2/marker_file.h"

#include "basekit2/bag_io.h"
#include "marker_io.h"
#include "vesta2/property_names.h"

namespace vesta2 {

error_t createDefaultMarkerFile(boost::filesystem::path directory, std::string name,
                                const basekit2::variant_bag_t& bag) {
    const std::string marker = markerFileIn(std::move(directory), std::move(name)).native();
    return errorFromObxError(
        basekit2::save_variant_bag(bag, marker, basekit2::durability_t::whenever));
}

void removeVestaVariableFromMarkerFile(const char* markerFilePath, const char* name) {
    if (!markerFilePath || !name) {
        setStatus(eParameterError);
        return;
    }
    basekit2::variant_bag_t bag;
    if (!setStatus(errorFromObxError(basekit2::load_variant_bag(bag, markerFilePath, "")))) {
        return;
    }
    basekit2::variant_bag_t* vesta = bag.get_bag(section::vesta);
    if (vesta && vesta->remove(name)) {
        setStatus(saveMarkerFile(bag, markerFilePath));
    }
}

}  // namespace vesta2
