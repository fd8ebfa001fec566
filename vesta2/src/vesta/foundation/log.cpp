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

/// A name from the disk with all that could break a line or drive a terminal (the backslash and the
/// control characters, also those beyond ASCII) as C escapes.
std::string escape(const std::string& name) {
    std::string text;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const auto byte = static_cast<unsigned char>(name[i]);
        const auto former = i > 0 ? static_cast<unsigned char>(name[i - 1]) : 0U;
        const bool isWideControl = former == 0xC2 && byte >= 0x80 && byte < 0xA0;
        if (byte < 0x20 || byte == 0x7F || byte == '\\' || isWideControl) {
            constexpr const char* digits = "0123456789ABCDEF";
            text.append("\\x") += digits[byte / 16];
            text += digits[byte % 16];
        } else {
            text += name[i];
        }
    }
    return text;
}

}  // namespace

void logError(Severity severity, error_t code, const char* pattern, int line) {
    if (!logger().has_output()) {
        return;
    }
    std::string text = toString(code);
    if (pattern) {
        text.append(". Pattern: ").append(escape(pattern));
    }
    text.append(", at file: ").append(sourcePath).append(":").append(std::to_string(line));
    logger().log(severity == Severity::error ? logsvc::severity_t::error
                                             : logsvc::severity_t::warning,
                 text, sourcePath, line);
}

}  // namespace vesta2
