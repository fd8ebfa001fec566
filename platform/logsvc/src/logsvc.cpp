#include "logsvc/logsvc.h"

#include <log4cplus/consoleappender.h>
#include <log4cplus/fileappender.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/nullappender.h>

#include <memory>
#include <mutex>
#include <set>

#include "basekit2/host.h"
#include "platkit/strings.h"

namespace log4cplus {
// Exported by some releases of the library without being declared.
[[gnu::weak]] void shutdownThreadPool();
}  // namespace log4cplus

namespace logsvc {
namespace {

log4cplus::SharedAppenderPtr makeAppender(const std::string& file) {
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

/// The logging library starts threads as soon as it is loaded, though only asynchronous appenders
/// use them; a child that this process forks and that calls `exit` would wait for them for ever.
[[maybe_unused]] const bool s_threadsEnded = [] {
    if (&log4cplus::shutdownThreadPool != nullptr) {
        log4cplus::shutdownThreadPool();
    }
    return true;
}();

void configure(const std::string& component) {
    log4cplus::Logger logger = log4cplus::Logger::getInstance(component);
    const std::string wanted =
        basekit2::get_environ_value((platkit::strings::to_upper(component) + "_LOG").c_str());
    if (wanted.empty()) {
        // A logger that has no appender at all makes the library complain on standard error.
        logger.addAppender(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender()));
        return;
    }
    const std::size_t colon = wanted.find(':');
    const log4cplus::LogLevel level = log4cplus::getLogLevelManager().fromString(
        platkit::strings::to_upper(wanted.substr(0, colon)));
    logger.setLogLevel(level == log4cplus::NOT_SET_LOG_LEVEL ? log4cplus::WARN_LOG_LEVEL : level);
    logger.addAppender(
        makeAppender(colon == std::string::npos ? std::string() : wanted.substr(colon + 1)));
}

}  // namespace

std::string configureComponentLogger(const std::string& component) {
    static std::mutex mutex;
    static std::set<std::string> configured;
    const std::lock_guard lock(mutex);
    if (configured.insert(component).second) {
        configure(component);
    }
    return component;
}

}  // namespace logsvc
