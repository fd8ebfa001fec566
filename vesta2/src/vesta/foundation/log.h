#pragma once
/// The library's log. Safe from any thread.

#include "vesta2/error.h"

namespace vesta2 {

enum class Severity { warning, error };

/// Logs the message of `code`, then, when `pattern` is not null, the name or pattern that it is
/// about, then the place in the source.
void logError(Severity severity, error_t code, const char* pattern, int line);

}  // namespace vesta2

/// For a name that failed its check.
#define VESTA_LOG_WARN(code, pattern)                                                              \
    ::vesta2::logError(::vesta2::Severity::warning, (code), (pattern), __LINE__)
/// For an operation that failed.
#define VESTA_LOG_ERROR(code, pattern)                                                             \
    ::vesta2::logError(::vesta2::Severity::error, (code), (pattern), __LINE__)
