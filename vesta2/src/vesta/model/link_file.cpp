#include "link_file.h"

#include <fcntl.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>

#include "../discovery/extensions.h"
#include "../foundation/file_checks.h"
#include "basekit2/bag_io.h"
#include "basekit2/descriptor.h"
#include "marker_io.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"
#include "vesta2/path_completion.h"
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

/// Whether both name the same file of one directory. Two names of one file (hard links) are two.
bool isSameFile(const std::string& a, const std::string& b) {
    const std::size_t slashA = a.rfind('/') + 1;
    const std::size_t slashB = b.rfind('/') + 1;
    return a == b || (a.compare(slashA, a.npos, b, slashB, b.npos) == 0 &&
                      leadToSame(a.substr(0, slashA), b.substr(0, slashB)) == true);
}

/// Writes it in one step, and flushes it. One that is new is created exclusively: `eAlreadyExists`
/// when another process has been faster.
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

/// Writes the link in one directory, whatever takes its place; not over another than was found.
error_t replaceIn(const LinkPlace& place, const LinkFile& found, const std::string& target,
                  const std::string& checksum) {
    const fs::path path = place.path;
    const basekit2::descriptor_t group(
        ::open(path.parent_path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!group || isAnother(group.get(), place.group)) {
        return group ? eNotFound : eUnknown;
    }
    fs::path directory = "/proc/self/fd/" + std::to_string(group.get());
    directory = isDirectory(directory) ? directory : path.parent_path();
    const std::string certain = (directory / path.filename()).native();
    const LinkFile present = readLinkFile(certain, place.path);
    if (present.target != found.target || present.checksum != found.checksum) {
        return eUnknown;
    }
    return saveLinkFile(certain, target, checksum, present.state == marker_state_t::absent);
}

}  // namespace

LinkFile readLinkFile(const std::string& path) { return readLinkFile(path, path); }

LinkFile readLinkFile(const std::string& path, const std::string& name) {
    basekit2::variant_bag_t bag;
    LinkFile file;
    // A symbolic link could redirect a write to a file outside the group.
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
    // A path that goes on behind a NUL would be another one to the kernel than it is here.
    if (!target || !target->as_string() || target->as_string()->find('\0') != std::string::npos ||
        !checksum || !checksum->as_string()) {
        file.state = marker_state_t::malformed;
        return file;
    }
    file.target =
        normalPath(fs::absolute(*target->as_string(), fs::path(name).parent_path())).native();
    file.checksum = *checksum->as_string();
    if (!isOfKind(file.target, path)) {
        file.state = marker_state_t::malformed;
    }
    return file;
}

Leads whereLeads(const LinkFile& link, const NamedMarkers& markers) {
    switch (link.state) {
    case marker_state_t::absent:
    case marker_state_t::malformed:
        return Leads::nowhere;
    case marker_state_t::unreadable:
        return Leads::unknown;
    case marker_state_t::read:
        break;
    }
    if (isSameFile(link.target, markers.present) ||
        (!markers.former.empty() && isSameFile(link.target, markers.former))) {
        return Leads::here;
    }
    return isAbsent(link.target) ? Leads::nowhere : Leads::elsewhere;
}

error_t rewriteLinkFile(const LinkPlace& place, const LinkFile& found, const NamedMarkers& markers,
                        const std::string& checksum) {
    if (found.state == marker_state_t::read && found.target == markers.present &&
        found.checksum == checksum) {
        return eOK;
    }
    switch (whereLeads(found, markers)) {
    case Leads::here:
    case Leads::nowhere:
        return replaceIn(place, found, markers.present, checksum);
    case Leads::elsewhere:
        return eAlreadyExists;
    case Leads::unknown:
        break;
    }
    return eUnknown;
}

void deleteLinkFile(const std::string& path, const NamedMarkers& markers) {
    const Leads leads = whereLeads(readLinkFile(path), markers);
    if (leads == Leads::here || leads == Leads::nowhere) {
        boost::system::error_code ignored;
        fs::remove(path, ignored);
    }
}

bool isNodeLink(const std::string& path) {
    return path.starts_with('/') && hasLinkExtension(path, nodeMarkerExtensions());
}

}  // namespace vesta2
