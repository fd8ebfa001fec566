#include "log_module.h"

#include <log4cplus/consoleappender.h>
#include <log4cplus/fileappender.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/nullappender.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <set>
#include <string>

namespace logsvc {
namespace {

/// This module is initialised after the logging library and ends before it: what is logged later on
/// must not reach what has been destroyed, and a thread that finds it running finds the library
/// ready.
struct process_t {
    std::atomic<bool> runs{false};
    process_t() { runs = true; }
    ~process_t() { runs = false; }
};
process_t s_process;

log4cplus::SharedAppenderPtr make_appender(const std::string& file) {
    log4cplus::SharedAppenderPtr appender;
    if (file.empty()) {
        appender = new log4cplus::ConsoleAppender(true, true);
    } else {
        appender = new log4cplus::FileAppender(file, std::ios_base::app);
    }
    appender->setLayout(
        std::make_unique<log4cplus::PatternLayout>("%D{%Y-%m-%d %H:%M:%S.%q} %p %c: %m%n"));
    return appender;
}

log4cplus::LogLevel level_of(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
    const log4cplus::LogLevel level = log4cplus::getLogLevelManager().fromString(name);
    return level == log4cplus::NOT_SET_LOG_LEVEL ? log4cplus::WARN_LOG_LEVEL : level;
}

void configure(log4cplus::Logger& logger, const std::string& setting) {
    if (setting.empty()) {
        // A logger that has no appender at all makes the library complain on standard error.
        logger.addAppender(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender()));
        return;
    }
    const std::size_t colon = setting.find(':');
    logger.setLogLevel(level_of(setting.substr(0, colon)));
    logger.addAppender(
        make_appender(colon == std::string::npos ? std::string() : setting.substr(colon + 1)));
}

log4cplus::Logger logger_of(const message_t& message) {
    static auto& mutex = *new std::mutex();
    static auto& configured = *new std::set<std::string>();
    log4cplus::Logger logger = log4cplus::Logger::getInstance(message.component);
    const std::lock_guard lock(mutex);
    if (configured.insert(message.component).second) {
        configure(logger, message.setting);
    }
    return logger;
}

void log(const message_t& message) {
    const log4cplus::LogLevel level = message.severity == severity_t::error
                                          ? log4cplus::ERROR_LOG_LEVEL
                                          : log4cplus::WARN_LOG_LEVEL;
    const log4cplus::Logger logger = logger_of(message);
    if (logger.isEnabledFor(level)) {
        logger.forcedLog(level, message.text, message.source, message.line);
    }
}

}  // namespace
}  // namespace logsvc

void vesta2_log_1(const logsvc::message_t& message) noexcept {
    if (!logsvc::s_process.runs) {
        return;
    }
    try {
        logsvc::log(message);
    } catch (...) {  // NOLINT: a message that cannot be written must not fail what it is about
    }
}
