#pragma once
/// The names of the files that claim a node.

#include "vesta2/export.h"

namespace vesta2::util {

class VESTA2_API FlagManager {
public:
    /// Extension of a flag's lock file and of its information file, computed when the library is
    /// loaded; valid for the life of the process.
    static const char* getFlagLockExtension();
    static const char* getFlagInfoExtension();
};

}  // namespace vesta2::util
