#pragma once

#include <string>

namespace vesta2 {

/// Whether the calling thread deletes the node of that marker file, perhaps out of its destructor:
/// as long as that lasts the thread cannot open it.
bool isBeingRemoved(const std::string& markerFilePath);

}  // namespace vesta2
