#pragma once
/// Reads and writes marker files. Safe from any thread; the status of the thread stays as it is.

#include <boost/filesystem/path.hpp>
#include <string>

#include "basekit2/variant.h"
#include "vesta2/error.h"
#include "vesta2/marker_file.h"

struct stat;

namespace vesta2 {

/// What reading a bag file came to, from the result of the load.
marker_state_t stateOfLoad(int result);

struct MarkerFile {
    marker_state_t state = marker_state_t::absent;
    /// Lower-case hexadecimal MD5 of the file's bytes; empty when it could not be read.
    std::string checksum;
};

/// Reads the file into `properties`, which is empty when that fails. One read serves the checksum
/// and the properties. `file` gets what the system tells of what was read; zeros when it could not
/// be opened.
MarkerFile readMarkerFile(const std::string& path, basekit2::variant_bag_t& properties,
                          struct stat* file = nullptr);

/// Replaces the marker file in one step, and flushes it.
error_t saveMarkerFile(const basekit2::variant_bag_t& properties, const std::string& path);

/// The path of the marker file `name` in `directory`: a name that is only an extension is prefixed
/// with the directory's own name.
boost::filesystem::path markerFileIn(boost::filesystem::path directory, std::string name);

/// Writes the marker file that makes a directory a node, by an exclusive create: another process
/// may have found the directory first, and what it has written there stays (`eAlreadyExists`). The
/// only file that is replaced is the empty one of a repair. A node that is still open on a marker
/// file which was there before is retired. `checksum` gets that of what was written.
error_t writeFirstMarkerFile(const boost::filesystem::path& marker,
                             const basekit2::variant_bag_t& bag, std::string* checksum = nullptr);

}  // namespace vesta2
