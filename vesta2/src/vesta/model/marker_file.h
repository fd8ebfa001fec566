#pragma once

#include <boost/filesystem/path.hpp>
#include <string>

#include "basekit2/variant.h"
#include "vesta2/error.h"

namespace vesta2 {

/// The path of the marker file `name` in `directory`: a name that is only an extension is prefixed
/// with the directory's own name.
boost::filesystem::path markerFileIn(boost::filesystem::path directory, std::string name);

/// Writes the marker file that makes a directory a node, and replaces none, but for the empty one
/// that a repair has put there: somebody else may have found the directory first. Returns
/// `eAlreadyExists` when what somebody else has written there stays. A node that is still open on
/// a marker file which was there before is retired. The status stays as it is.
error_t writeFirstMarkerFile(const boost::filesystem::path& marker,
                             const basekit2::variant_bag_t& bag);

}  // namespace vesta2
