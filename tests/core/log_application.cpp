/// An application that logs through an asynchronous appender of its own and uses the library.
/// Usage: log_application FILE

#include <log4cplus/fileappender.h>
#include <log4cplus/helpers/property.h>
#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>

#include <string>

#include "vesta2/names.h"

int main(int, char** argv) {
    const log4cplus::Initializer initializer;
    log4cplus::helpers::Properties properties;
    properties.setProperty("File", argv[1]);
    properties.setProperty("AsyncAppend", "true");
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    root.addAppender(log4cplus::SharedAppenderPtr(new log4cplus::FileAppender(properties)));
    for (int i = 0; i < 100; ++i) {
        root.log(log4cplus::INFO_LOG_LEVEL, "own " + std::to_string(i));
        vesta2::validateFileName(("x:" + std::to_string(i)).c_str());
    }
    return 0;
}
