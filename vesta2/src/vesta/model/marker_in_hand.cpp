#include "marker_in_hand.h"

#include <utility>

namespace vesta2 {
namespace {

thread_local MarkerInHand* t_innermost = nullptr;

bool areEqual(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

}  // namespace

MarkerInHand::MarkerInHand(std::string path, std::string checksum,
                           basekit2::variant_bag_t properties)
    : m_path(std::move(path)),
      m_isNew(true),
      m_properties(std::move(properties)),
      m_file{marker_state_t::read, std::move(checksum)},
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
           boost::filesystem::path(t_innermost->m_path).parent_path() == directory;
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
