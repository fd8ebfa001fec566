#pragma once
/// Where the library is.
///
/// Safe from any thread.

#include <string>

#include "basekit2/export.h"

namespace basekit2 {

/// Tells the directory of the shared library; for a program that holds this code itself, the one
/// beside its own that libraries are installed in. It is found at load, since the loader may know
/// the library by a path that is relative to the working directory of that moment.
/// Returns: a full path; empty when it cannot be told.
/// Lifetime: the process.
BASEKIT2_API const std::string& library_directory();

}  // namespace basekit2
