#include "marker_file.h"

#include "basekit2/bag_io.h"
#include "vesta2/node.h"
#include "vesta2/path_completion.h"
#include "vesta2/property_names.h"

namespace vesta2 {

namespace fs = boost::filesystem;

fs::path markerFileIn(fs::path directory, std::string name) {
    removeEndingSlash(directory);
    if (fs::path(name).stem().empty()) {
        name.insert(0, directory.filename().native());
    }
    return directory / name;
}

error_t writeFirstMarkerFile(const fs::path& marker, const basekit2::variant_bag_t& bag) {
    // What is open on a file that is not there yet was so on one that has gone. What is opened from
    // now on is not touched: another thread may have been quicker.
    const unsigned open = Node::openOn(marker.native());
    const int result = basekit2::create_variant_bag(bag, marker.native());
    if (result == basekit2::bag_exists) {
        // An object that is open on the empty bag would save that again.
        const bool isRepair = Node::openOn(marker.native()) == 0 &&
                              basekit2::fill_variant_bag(bag, marker.native()) == basekit2::bag_ok;
        return isRepair ? eOK : eAlreadyExists;
    }
    if (result == basekit2::bag_ok && open != 0) {
        Node::retire(marker.native(), open);
    }
    return errorFromObxError(result);
}

error_t createDefaultMarkerFile(fs::path directory, std::string name,
                                const basekit2::variant_bag_t& bag) {
    return errorFromObxError(basekit2::save_variant_bag(
        bag, markerFileIn(std::move(directory), std::move(name)).native(),
        basekit2::durability_t::whenever));
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
        setStatus(errorFromObxError(basekit2::save_variant_bag(bag, markerFilePath)));
    }
}

}  // namespace vesta2
