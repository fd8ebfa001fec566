#pragma once

#include <string>

#include "basekit2/export.h"

namespace basekit2 {

/// The directory of the file that holds this code, as a full path: the shared library, once it is
/// linked. Found when the library is loaded, since the loader may know it by a path that is
/// relative to the directory in which the process was then. Empty when it cannot be told. Lives as
/// long as the process.
BASEKIT2_API const std::string& library_directory();

}  // namespace basekit2
