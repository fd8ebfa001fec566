#pragma once
/// A marker file that the calling thread has just written or read, on its way into the node object:
/// opening the node asks the disk for none of it again.

#include <sys/stat.h>

#include <boost/filesystem/path.hpp>
#include <string>

#include "marker_io.h"

namespace vesta2 {

/// Counts on the thread that made it, as long as it lives, and inside an outer one.
class MarkerInHand {
public:
    /// One that this thread has written, into a directory that it has just made as well.
    MarkerInHand(std::string path, std::string checksum, basekit2::variant_bag_t properties);
    /// Reads it.
    explicit MarkerInHand(std::string path);
    ~MarkerInHand();
    MarkerInHand(const MarkerInHand&) = delete;
    MarkerInHand& operator=(const MarkerInHand&) = delete;

    /// The one of the file at `path`; null when this thread has none in hand, or it was taken.
    static MarkerInHand* of(const std::string& path);
    /// Whether the thread has just made this directory, for the node that it now opens.
    static bool hasMade(const boost::filesystem::path& directory);

    /// Whether it is what the file holds, which `file` tells of now.
    [[nodiscard]] bool isOf(const struct stat& file) const;
    [[nodiscard]] bool isNew() const { return m_isNew; }
    /// Hands its content over.
    MarkerFile take(basekit2::variant_bag_t& properties);

private:
    const std::string m_path;
    const bool m_isNew;
    bool m_isTaken = false;
    struct stat m_read {};
    basekit2::variant_bag_t m_properties;
    MarkerFile m_file;
    MarkerInHand* const m_outer;
};

}  // namespace vesta2
