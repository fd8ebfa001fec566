#include "check/node_files.h"

#include <algorithm>
#include <string_view>

#include "basekit2/md5.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"
#include "vesta2/property_names.h"

namespace cli {

namespace fs = std::filesystem;
using basekit2::variant_bag_t;

namespace {

std::string textOf(const variant_bag_t& bag, const char* key) {
    const basekit2::variant_t* value = bag.find(key);
    const std::string* text = value ? value->as_string() : nullptr;
    return text ? *text : std::string();
}

/// Relative ones are meant from where the file that holds them lies.
std::string fullPath(const std::string& path, const fs::path& holder) {
    return (holder.parent_path() / path).lexically_normal().native();
}

bool isMarker(std::string_view extension) {
    return extension == vesta2::getResultExtension() ||
           extension == vesta2::getExperimentExtension() ||
           extension == vesta2::getProjectExtension();
}

bool isMark(std::string_view name) {
    return name == vesta2::mark::finalized || name == vesta2::mark::invalid;
}

/// Whether a file or directory of that name is what a collector leaves in a result.
bool isTrace(const std::string& name) {
    namespace file = vesta2::result_file;
    return isMark(name) || name == file::collectorLog || name == file::commandLog ||
           name == file::applicationLog ||
           (name.starts_with(vesta2::getCollectorDataDirectoryPrefix()) && seriesOf(name));
}

/// Also by a symbolic link: it is read as the library does.
bool isRegularFile(const fs::path& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (error == std::errc::too_many_symbolic_link_levels) {
        return false;
    }
    return fs::is_regular_file(error ? fs::status(path) : status);
}

/// Any directory may be called like a marker file.
bool isOwnMarkerName(const fs::path& path) {
    return path.stem() == path.parent_path().filename() ||
           !fs::is_directory(fs::symlink_status(path));
}

}  // namespace

std::string nameOf(const std::string& path) { return fs::path(path).filename().native(); }
std::string directoryOf(const std::string& path) { return fs::path(path).parent_path().native(); }

std::string markerExtensionOf(const std::string& link) {
    const std::string extension = fs::path(link).extension().native();
    return extension.substr(0, extension.size() - vesta2::linkSuffix().size());
}

std::optional<std::string> seriesOf(std::string name) {
    const std::size_t end = name.find_last_not_of("0123456789") + 1;
    const bool isNumbered = end < name.size();
    std::fill(name.begin() + static_cast<std::ptrdiff_t>(end), name.end(), '0');
    return isNumbered ? std::optional(std::move(name)) : std::nullopt;
}

LinkContent::LinkContent(const std::string& path) {
    variant_bag_t bag;
    // The library reads no link file through a symbolic link, either.
    result = fs::is_symlink(fs::symlink_status(path))
                 ? basekit2::bag_unreadable
                 : basekit2::load_variant_bag(bag, path, basekit2::default_root);
    target = textOf(bag, vesta2::link_key::target);
    target = target.empty() ? target : fullPath(target, path);
    checksum = textOf(bag, vesta2::link_key::checksum);
}

MarkerContent::MarkerContent(const std::string& path) {
    std::string text;
    variant_bag_t bag;
    result = basekit2::read_bag_text(path, text);
    if (!basekit2::bag_failed(result)) {
        basekit2::md5_t md5;
        md5.update(text);
        checksum = md5.get_digest_base16();
        result = basekit2::load_variant_bag_from_string(bag, text);
    }
    if (const variant_bag_t* section = bag.get_bag(vesta2::section::vesta)) {
        tellsOfNode = true;
        backlink = textOf(*section, vesta2::property::backlink);
        backlink = backlink.empty() ? backlink : fullPath(backlink, path);
    }
}

DirectoryEntries::DirectoryEntries(const std::string& directory) {
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
        add(entry);
    }
    for (auto* paths : {&markers, &links, &temporaries, &directories, &odd}) {
        std::sort(paths->begin(), paths->end());
    }
}

bool DirectoryEntries::holdsGroup() const {
    return std::any_of(markers.begin(), markers.end(), [](const std::string& marker) {
        return fs::path(marker).extension() != vesta2::getResultExtension();
    });
}

void DirectoryEntries::add(const fs::directory_entry& entry) {
    const std::string& path = entry.path().native();
    const std::string name = entry.path().filename().native();
    const fs::file_type type = entry.symlink_status().type();
    isEmpty = false;
    hasTraces = hasTraces || isTrace(name);
    isEnded = isEnded || isMark(name);
    const bool isNamedMarker = isMarker(entry.path().extension().native());
    if (basekit2::is_bag_temporary(name)) {
        temporaries.push_back(path);
    } else if (vesta2::isLink(name) && isMarker(markerExtensionOf(name))) {
        links.push_back(path);
    } else if (isNamedMarker && isRegularFile(path)) {
        markers.push_back(path);
    } else if (isNamedMarker && isOwnMarkerName(entry.path())) {
        odd.push_back(path);
    } else if (type == fs::file_type::directory) {
        directories.push_back(path);
    }
}

}  // namespace cli
