#include "link_file.h"

#include <algorithm>
#include <boost/filesystem/operations.hpp>

#include "../foundation/normal_path.h"
#include "basekit2/bag_io.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"
#include "vesta2/property_names.h"

namespace vesta2 {

namespace fs = boost::filesystem;

namespace {

/// Whether the target is named as the marker file of the kind of node that the link stands for.
bool isOfKind(const fs::path& target, const fs::path& link) {
    const std::string extension = link.extension().native();
    const std::size_t kind = extension.size() - std::min(extension.size(), linkSuffix().size());
    return kind > 0 && target.extension().native() == extension.substr(0, kind);
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

LinkFile readLinkFile(const std::string& path) {
    basekit2::variant_bag_t bag;
    LinkFile file;
    // Whoever may write to a group could lead a link out of it by a symbolic link.
    boost::system::error_code ignored;
    const fs::file_status entry = fs::symlink_status(path, ignored);
    if (entry.type() == fs::symlink_file) {
        file.state = marker_state_t::unreadable;
        return file;
    }
    file.state = stateOfLoad(basekit2::load_variant_bag2(bag, path, basekit2::default_root, 0));
    if (file.state != marker_state_t::read) {
        return file;
    }
    const basekit2::variant_t* target = bag.find(link_key::target);
    const basekit2::variant_t* checksum = bag.find(link_key::checksum);
    if (!target || !target->as_string() || !checksum || !checksum->as_string()) {
        file.state = marker_state_t::malformed;
        return file;
    }
    file.target =
        normalPath(fs::absolute(*target->as_string(), fs::path(path).parent_path())).native();
    file.checksum = *checksum->as_string();
    if (!isOfKind(file.target, path)) {
        file.state = marker_state_t::malformed;
    }
    return file;
}

error_t saveLinkFile(const std::string& path, const std::string& target,
                     const std::string& checksum, bool isNew) {
    basekit2::variant_bag_t bag;
    bag.put(link_key::target, target);
    bag.put(link_key::checksum, checksum);
    if (!isNew) {
        return errorFromObxError(basekit2::save_variant_bag2(bag, path, basekit2::default_root,
                                                             basekit2::durability_t::lasting,
                                                             basekit2::symlinks_t::refused));
    }
    const int result = basekit2::create_variant_bag(bag, path, basekit2::durability_t::lasting);
    return result == basekit2::bag_exists ? eAlreadyExists : errorFromObxError(result);
}

bool isNodeLink(const std::string& path) {
    static const auto& anyKind =
        *new FileSet(resultMarkerFileExt(), experimentMarkerFileExt(), projectMarkerFileExt());
    return !path.empty() && path.front() == '/' && hasLinkExtension(path, anyKind);
}

}  // namespace vesta2
