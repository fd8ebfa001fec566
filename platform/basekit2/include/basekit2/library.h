#pragma once
/// Where this library is.
///
/// Safe from any thread.

#include <string>

#include "basekit2/export.h"

namespace basekit2 {

/// Tells the directory of the file that holds this code: the shared library. It is found when the
/// library is loaded, since the loader may know it by a path that is relative to the working
/// directory of that moment.
/// Returns: a full path; empty when it cannot be told.
/// Lifetime: the process.
BASEKIT2_API const std::string& library_directory();

}  // namespace basekit2
