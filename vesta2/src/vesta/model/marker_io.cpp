#include "marker_io.h"

#include "basekit2/bag_io.h"
#include "basekit2/md5.h"
#include "vesta2/node.h"
#include "vesta2/path_completion.h"

namespace vesta2 {

namespace fs = boost::filesystem;

marker_state_t stateOfLoad(int result) {
    switch (result) {
    case basekit2::bag_ok:
        return marker_state_t::read;
    case basekit2::bag_absent:
        return marker_state_t::absent;
    case basekit2::bag_malformed:
    case basekit2::bag_too_large:
        return marker_state_t::malformed;
    default:
        return marker_state_t::unreadable;
    }
}

MarkerFile readMarkerFile(const std::string& path, basekit2::variant_bag_t& properties) {
    std::string text;
    const int read = basekit2::read_bag_text(path, text);
    if (basekit2::bag_failed(read)) {
        properties.clear();
        return {stateOfLoad(read), {}};
    }
    basekit2::md5_t md5;
    md5.update(text);
    return {stateOfLoad(basekit2::load_variant_bag_from_string(properties, text)),
            md5.get_digest_base16()};
}

error_t saveMarkerFile(const basekit2::variant_bag_t& properties, const std::string& path) {
    return errorFromObxError(basekit2::save_variant_bag(properties, path));
}

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

}  // namespace vesta2
