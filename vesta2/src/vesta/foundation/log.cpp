#include "log.h"

#include <log4cplus/logger.h>

#include <mutex>
#include <string>

#include "logsvc/logsvc.h"

namespace vesta2 {
namespace {

constexpr const char* sourcePath = "vcs/vesta2/src/vesta";

/// Set up at the first message: most processes never log, and setting up costs more than they do.
log4cplus::Logger& logger() {
    static auto& instance = *new log4cplus::Logger(
        log4cplus::Logger::getInstance(logsvc::configureComponentLogger("vesta")));
    return instance;
}

/// `toString` has one buffer for all threads; at least the library's own calls do not race on it.
std::string messageOf(error_t code) {
    static auto& mutex = *new std::mutex();
    const std::lock_guard lock(mutex);
    return toString(code);
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
    const log4cplus::LogLevel level =
        severity == Severity::error ? log4cplus::ERROR_LOG_LEVEL : log4cplus::WARN_LOG_LEVEL;
    if (!logger().isEnabledFor(level)) {
        return;
    }
    std::string text = messageOf(code);
    if (pattern) {
        text.append(". Pattern: ").append(escape(pattern));
    }
    text.append(", at file: ").append(sourcePath).append(":").append(std::to_string(line));
    logger().forcedLog(level, text, sourcePath, line);
}

}  // namespace vesta2
