#pragma once

#include <string>

namespace optstore2 {

/// The full path of a data file of the product: the first that can be read in `$VESTA2_DATA_DIR`;
/// in `share/vesta2` beside the library's directory, or one above; in the installation's share
/// directory. Empty when none can.
std::string findDataFile(const std::string& name);

}  // namespace optstore2
