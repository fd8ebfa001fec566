#include "basekit2/bag_io.h"
#include "property_names.h"
#include "vesta2/node.h"
#include "vesta2/path_completion.h"

namespace vesta2 {

namespace fs = boost::filesystem;

error_t createDefaultMarkerFile(fs::path directory, std::string name,
                                const basekit2::variant_bag_t& bag) {
    removeEndingSlash(directory);
    if (fs::path(name).stem().empty()) {
        name.insert(0, directory.filename().native());
    }
    return errorFromObxError(basekit2::save_variant_bag(bag, (directory / name).native(),
                                                        basekit2::durability_t::whenever));
}

void removeVestaVariableFromMarkerFile(const char* markerFilePath, const char* name) {
    basekit2::variant_bag_t bag;
    if (!setStatus(errorFromObxError(basekit2::load_variant_bag(bag, markerFilePath, "")))) {
        return;
    }
    basekit2::variant_bag_t* vesta = bag.get_bag(vestaSection);
    if (vesta && vesta->remove(name)) {
        setStatus(errorFromObxError(basekit2::save_variant_bag(bag, markerFilePath)));
    }
}

}  // namespace vesta2
