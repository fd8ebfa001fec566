#include "log.h"

#include <string>

#include "logsvc/logsvc.h"

namespace vesta2 {
namespace {

constexpr const char* sourcePath = "vcs/vesta2/src/vesta";

/// Never destroyed: operations still fail while the process ends.
const logsvc::component_logger_t& logger() {
    static const auto& instance = *new logsvc::component_logger_t("vesta");
    return instance;
}

}  // namespace

void logError(Severity severity, error_t code, const char* pattern, int line) {
    if (!logger().has_output()) {
        return;
    }
    std::string text = toString(code);
    if (pattern) {
        text.append(". Pattern: ").append(pattern);
    }
    text.append(", at file: ").append(sourcePath).append(":").append(std::to_string(line));
    logger().log(severity == Severity::error ? logsvc::severity_t::error
                                             : logsvc::severity_t::warning,
                 text, sourcePath, line);
}

}  // namespace vesta2
