#pragma once
/// The library's log. Safe from any thread.
///
/// A line for which there is no memory is left out. Each line ends with the line of the source that
/// called: the default argument is evaluated there.

#include "vesta2/boost_fwd.h"
#include "vesta2/error.h"

namespace vesta2 {

/// Logs the message of `code`, which an operation failed with, then, when `subject` is not null,
/// the path, name or pattern that it is about.
void logError(error_t code, const char* subject, int line = __builtin_LINE());
/// As `logError`, for a name that failed its check.
void logWarning(error_t code, const char* subject, int line = __builtin_LINE());

/// Logs a failed call of the file system.
void logFailure(const boost::system::system_error& e, int line = __builtin_LINE());
/// The same, and makes it the status of the thread. Always false, for the caller to return.
bool failWith(const boost::system::system_error& e, int line = __builtin_LINE());

}  // namespace vesta2
