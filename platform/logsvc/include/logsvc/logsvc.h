#pragma once

#include <string>

namespace logsvc {

/// Sets up the logger of `component` and returns its name, under which the logging library knows
/// it.
///
/// The environment variable "<COMPONENT>_LOG" (upper case) names a level ("error", "warn", "info",
/// "debug", "trace"), and the logger then writes to standard error from that level on; "LEVEL:FILE"
/// appends to a file instead. When it is unset, the logger says nothing unless the application has
/// configured the logging library itself. A second call for the same component changes nothing.
std::string configureComponentLogger(const std::string& component);

}  // namespace logsvc
