#pragma once
/// Reads and writes marker files. Safe from any thread; the status of the thread stays as it is.

#include <sys/stat.h>

#include <boost/filesystem/path.hpp>
#include <string>

#include "../tree/file_id.h"
#include "basekit2/variant.h"
#include "checksum.h"
#include "vesta2/error.h"
#include "vesta2/marker_file.h"

namespace vesta2 {

/// What reading a bag file came to, from the result of the load.
marker_state_t stateOfLoad(int result);

struct MarkerFile {
    marker_state_t state = marker_state_t::absent;
    Checksum checksum;
    FileId home{};  ///< of the directory that holds it; not known when that cannot be told
};

/// Reads the file into `properties`, which is empty when that fails. One read serves the checksum
/// and the properties. `file` gets what the system tells of what was read; zeros when it could not
/// be opened.
MarkerFile readMarkerFile(const std::string& path, basekit2::variant_bag_t& properties,
                          struct stat* file = nullptr);

/// As `readMarkerFile`, but from the `MarkerInHand` of the file if there is one. What lies in
/// another directory than `home` is unreadable (see `isAnother`).
MarkerFile takeMarkerFile(const std::string& path, basekit2::variant_bag_t& properties,
                          const FileId& home);

/// Replaces the marker file in one step, and flushes it. Unless they are known to have changed, a
/// file that holds just these properties stays. `eNotFound` when another directory than `home` is
/// in the place of the one that holds it (see `isAnother`).
error_t saveMarkerFile(const basekit2::variant_bag_t& properties, const std::string& path,
                       const FileId& home = {}, bool isChanged = false);

/// The path of the marker file `name` in `directory`: a name that is only an extension is prefixed
/// with the directory's own name.
boost::filesystem::path markerFileIn(boost::filesystem::path directory, std::string name);

/// Writes the marker file that makes a directory a node, by an exclusive create: another process
/// may have found the directory first, and what it has written there stays (`eAlreadyExists`). The
/// only file that is replaced is the empty one of a repair. A node that is still open on a marker
/// file which was there before is retired. `written` gets its text.
error_t writeFirstMarkerFile(const boost::filesystem::path& marker,
                             const basekit2::variant_bag_t& bag, std::string* written = nullptr);

/// A marker file that the calling thread has just written or read, on its way into the node object:
/// opening the node asks the disk for none of it again. Counts on that thread, as long as it lives,
/// and inside an outer one.
class MarkerInHand {
public:
    /// One that this thread has written, into a directory that it has just made as well.
    MarkerInHand(std::string path, std::string text, basekit2::variant_bag_t properties);
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
