#pragma once

#include <boost/filesystem/path.hpp>

namespace vesta2 {

/// `path` with "." and ".." and doubled separators folded.
boost::filesystem::path normalPath(const boost::filesystem::path& path);

}  // namespace vesta2
