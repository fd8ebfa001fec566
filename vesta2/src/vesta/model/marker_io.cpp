#include "marker_io.h"

#include <boost/filesystem/operations.hpp>
#include <utility>

#include "../discovery/extensions.h"
#include "../foundation/path_parts.h"
#include "basekit2/bag_io.h"
#include "vesta2/discovery.h"
#include "vesta2/node.h"
#include "vesta2/path_completion.h"

namespace vesta2 {

namespace fs = boost::filesystem;

namespace {

thread_local MarkerInHand* t_innermost = nullptr;

bool areEqual(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

FileId homeOf(const std::string& marker) {
    struct stat info {};
    return ::stat(std::string(parentOf(marker)).c_str(), &info) == 0 ? FileId(info) : FileId();
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
    // What reads a link file that tells of no node: a symbolic link there is another's file.
    boost::system::error_code ignored;
    const bool isForeign = isLink(path) && fs::is_symlink(fs::symlink_status(path, ignored));
    const int read =
        isForeign ? basekit2::bag_unreadable : basekit2::read_bag_text(path, text, file);
    if (basekit2::bag_failed(read)) {
        properties.clear();
        return {stateOfLoad(read), {}, homeOf(path)};
    }
    // Between two looks at the marker file, when `MarkerInHand` has it: of one and the same place.
    const FileId home = homeOf(path);
    const int loaded = basekit2::load_variant_bag_from_string(properties, text);
    return {stateOfLoad(loaded), Checksum::ofText(std::move(text)), home};
}

MarkerFile takeMarkerFile(const std::string& path, basekit2::variant_bag_t& properties,
                          const FileId& home) {
    MarkerInHand* const inHand = MarkerInHand::of(path);
    MarkerFile file = inHand ? inHand->take(properties) : readMarkerFile(path, properties);
    if (home.isKnown() && file.home != home && !isShared(std::string(parentOf(path)))) {
        properties.clear();
        file = {marker_state_t::unreadable, {}, home};
    }
    return file;
}

error_t saveMarkerFile(const basekit2::variant_bag_t& properties, const std::string& path,
                       const FileId& home, bool isChanged) {
    int saved = basekit2::bag_misplaced;
    if (home.isKnown()) {
        saved =
            basekit2::save_variant_bag_in({home.device, home.inode}, properties, path, isChanged);
        if (saved == basekit2::bag_misplaced && !isShared(std::string(parentOf(path)))) {
            return eNotFound;
        }
    }
    if (saved == basekit2::bag_misplaced) {
        saved = isChanged ? basekit2::save_changed_bag(properties, path)
                          : basekit2::save_variant_bag(properties, path);
    }
    return errorFromObxError(saved);
}

fs::path markerFileIn(fs::path directory, std::string name) {
    removeEndingSlash(directory);
    if (stemOf(name).empty()) {
        name.insert(0, nameIn(directory.native()));
    }
    return directory / name;
}

error_t writeFirstMarkerFile(const fs::path& marker, const basekit2::variant_bag_t& bag,
                             std::string* written) {
    std::string text;
    if (const int saved = basekit2::save_variant_bag_to_string(bag, text);
        basekit2::bag_failed(saved)) {
        return errorFromObxError(saved);
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
    if (written) {
        *written = std::move(text);
    }
    return errorFromObxError(result);
}

MarkerInHand::MarkerInHand(std::string path, std::string text, basekit2::variant_bag_t properties)
    : m_path(std::move(path)),
      m_isNew(true),
      m_properties(std::move(properties)),
      m_file{marker_state_t::read, Checksum::ofText(std::move(text)), homeOf(m_path)},
      m_outer(std::exchange(t_innermost, this)) {}

MarkerInHand::MarkerInHand(std::string path)
    : m_path(std::move(path)),
      m_isNew(false),
      m_file(readMarkerFile(m_path, m_properties, &m_read)),
      m_outer(std::exchange(t_innermost, this)) {}

MarkerInHand::~MarkerInHand() { t_innermost = m_outer; }

MarkerInHand* MarkerInHand::of(const std::string& path) {
    const bool isHere = t_innermost && !t_innermost->m_isTaken && t_innermost->m_path == path;
    return isHere ? t_innermost : nullptr;
}

bool MarkerInHand::hasMade(const boost::filesystem::path& directory) {
    return t_innermost && t_innermost->m_isNew &&
           parentOf(t_innermost->m_path) == directory.native();
}

bool MarkerInHand::isOf(const struct stat& file) const {
    return m_isNew ||
           (m_file.state != marker_state_t::absent && m_read.st_dev == file.st_dev &&
            m_read.st_ino == file.st_ino && m_read.st_size == file.st_size &&
            areEqual(m_read.st_mtim, file.st_mtim) && areEqual(m_read.st_ctim, file.st_ctim));
}

MarkerFile MarkerInHand::take(basekit2::variant_bag_t& properties) {
    m_isTaken = true;
    properties = std::move(m_properties);
    return std::move(m_file);
}

}  // namespace vesta2
