#include "marker_io.h"

#include "basekit2/bag_io.h"
#include "basekit2/md5.h"
#include "vesta2/node.h"
#include "vesta2/path_completion.h"

namespace vesta2 {

namespace fs = boost::filesystem;

namespace {

std::string checksumOf(std::string_view text) {
    basekit2::md5_t md5;
    md5.update(text);
    return md5.get_digest_base16();
}

}  // namespace

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

MarkerFile readMarkerFile(const std::string& path, basekit2::variant_bag_t& properties,
                          struct stat* file) {
    std::string text;
    const int read = basekit2::read_bag_text(path, text, file);
    if (basekit2::bag_failed(read)) {
        properties.clear();
        return {stateOfLoad(read), {}};
    }
    return {stateOfLoad(basekit2::load_variant_bag_from_string(properties, text)),
            checksumOf(text)};
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

error_t writeFirstMarkerFile(const fs::path& marker, const basekit2::variant_bag_t& bag,
                             std::string* checksum) {
    std::string text;
    if (const int written = basekit2::save_variant_bag_to_string(bag, text);
        basekit2::bag_failed(written)) {
        return errorFromObxError(written);
    }
    if (checksum) {
        *checksum = checksumOf(text);
    }
    // What is open on a file that is not there yet was so on one that has gone. What is opened from
    // now on is not touched: another thread may have been quicker.
    const unsigned open = Node::openOn(marker.native());
    const int result = basekit2::create_bag_file(text, marker.native());
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
