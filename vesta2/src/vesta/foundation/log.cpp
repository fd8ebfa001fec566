#include "log.h"

#include <boost/system/system_error.hpp>
#include <new>
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

void write(logsvc::severity_t severity, error_t code, const char* subject, int line) try {
    if (!logger().has_output()) {
        return;
    }
    std::string text = toString(code);
    if (subject) {
        text.append(". Pattern: ").append(escape(subject));
    }
    text.append(", at file: ").append(sourcePath).append(":").append(std::to_string(line));
    logger().log(severity, text, sourcePath, line);
} catch (const std::bad_alloc&) {
    // What failed is to be told by other means; a line of the log is not worth failing for.
}

}  // namespace

void logError(error_t code, const char* subject, int line) {
    write(logsvc::severity_t::error, code, subject, line);
}

void logWarning(error_t code, const char* subject, int line) {
    write(logsvc::severity_t::warning, code, subject, line);
}

void logFailure(const boost::system::system_error& e, int line) {
    logError(errorFromBoostError(e), e.what(), line);
}

bool failWith(const boost::system::system_error& e, int line) {
    logFailure(e, line);
    return setStatus(errorFromBoostError(e));
}

}  // namespace vesta2
