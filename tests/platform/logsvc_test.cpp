#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log4cplus/logger.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <tuple>

#include "logsvc/logsvc.h"
#include "platkit/strings.h"
#include "support/temp_directory.h"

namespace {

log4cplus::Logger configured(const std::string& component, const std::string& wanted) {
    const std::string variable = platkit::strings::to_upper(component) + "_LOG";
    ::setenv(variable.c_str(), wanted.c_str(), 1);
    EXPECT_EQ(logsvc::configureComponentLogger(component), component);
    // Only the first call counts.
    ::setenv(variable.c_str(), "fatal:/nowhere", 1);
    logsvc::configureComponentLogger(component);
    ::unsetenv(variable.c_str());
    return log4cplus::Logger::getInstance(component);
}

TEST(Logsvc, AppendsToTheFileFromTheLevelOn) {
    const support::TempDirectory directory;
    // An unknown level counts as "warn".
    const std::tuple<const char*, const char*, bool> cases[] = {{"loga", "warn", true},
                                                                {"logb", "error", false},
                                                                {"logc", "DEBUG", true},
                                                                {"logd", "x", true}};
    for (const auto& [component, level, warnings] : cases) {
        const std::string file = directory / component;
        support::writeFile(file, "before\n");
        const log4cplus::Logger logger = configured(component, std::string(level) + ":" + file);
        EXPECT_EQ(logger.isEnabledFor(log4cplus::WARN_LOG_LEVEL), warnings) << level;
        logger.log(log4cplus::WARN_LOG_LEVEL, "a warning");
        logger.log(log4cplus::ERROR_LOG_LEVEL, "an error");
        const std::string text = support::readFile(file);
        EXPECT_THAT(text, testing::HasSubstr("before\n")) << level;
        EXPECT_THAT(text, testing::HasSubstr(std::string(" ERROR ") + component + ": an error\n"));
        EXPECT_EQ(text.find("a warning") != std::string::npos, warnings) << level;
    }
}

TEST(Logsvc, ForkedChildThatExitsEnds) {
    logsvc::configureComponentLogger("logf");
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(20);
        std::exit(7);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
}

}  // namespace
