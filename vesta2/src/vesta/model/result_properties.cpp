#include <boost/filesystem/operations.hpp>
#include <string_view>

#include "property_names.h"
#include "vesta2/result_directory.h"

namespace vesta2 {
namespace {

constexpr const char* collectionCommandKey = "collectionCommand";
constexpr const char* collectionTimeBeginKey = "collectionTimeBegin";
constexpr const char* collectionTimeEndKey = "collectionTimeEnd";
constexpr const char* finalizationTimeBeginKey = "finalizationTimeBegin";
constexpr const char* finalizationTimeEndKey = "finalizationTimeEnd";
constexpr const char* applicationLogKey = "applicationLog";
constexpr const char* collectorLogKey = "collectorLog";
constexpr const char* commandLogKey = "commandLog";

}  // namespace

void ResultDirectory::changeText(const char* property, const char* value) {
    if (!value) {
        setStatus(eParameterError);
        return;
    }
    setRdPropStr(property, value);
    markModified();
}

void ResultDirectory::changeTime(const char* property, long value) {
    setRdPropTime(property, value);
    markModified();
}

const char* ResultDirectory::getCreationHostName() { return getRdPropStr(hostnameKey, "unknown"); }

const char* ResultDirectory::getCreationOs(bool pretty) {
    const char* const os = getRdPropStr(osKey, "unknown");
    if (pretty && std::string_view(os) == "windows") {
        return "Windows*";
    }
    return pretty && std::string_view(os) == "linux" ? "Linux*" : os;
}

int ResultDirectory::getMpiRank() { return getRdPropInt(mpiRankKey, -1); }

const char* ResultDirectory::getCollectorCommand() {
    return getRdPropStr(collectionCommandKey, nullptr);
}

void ResultDirectory::setCollectorCommand(const char* command) {
    changeText(collectionCommandKey, command);
}

long ResultDirectory::getCollectionTimeBegin() { return getRdPropTime(collectionTimeBeginKey, 0); }

void ResultDirectory::setCollectionTimeBegin(long time) {
    changeTime(collectionTimeBeginKey, time);
}

long ResultDirectory::getCollectionTimeEnd() { return getRdPropTime(collectionTimeEndKey, 0); }

void ResultDirectory::setCollectionTimeEnd(long time) { changeTime(collectionTimeEndKey, time); }

long ResultDirectory::getFinalizationTimeBegin() {
    return getRdPropTime(finalizationTimeBeginKey, 0);
}

void ResultDirectory::setFinalizationTimeBegin(long time) {
    changeTime(finalizationTimeBeginKey, time);
}

long ResultDirectory::getFinalizationTimeEnd() { return getRdPropTime(finalizationTimeEndKey, 0); }

void ResultDirectory::setFinalizationTimeEnd(long time) {
    changeTime(finalizationTimeEndKey, time);
}

int ResultDirectory::getLogicalCPUCount() { return getRdPropInt(logicalCpuCountKey, 0); }

long long ResultDirectory::getCPUFrequency() { return getRdPropLong(cpuFrequencyKey, 0); }

std::string ResultDirectory::logPath(const char* property, const char* usualName) {
    return boost::filesystem::absolute(getRdPropStr(property, usualName), directory()).native();
}

std::string ResultDirectory::getApplicationLog() {
    return logPath(applicationLogKey, "application.log");
}

void ResultDirectory::setApplicationLog(const char* name) { changeText(applicationLogKey, name); }

std::string ResultDirectory::getCollectorLog() { return logPath(collectorLogKey, "collector.log"); }

void ResultDirectory::setCollectorLog(const char* name) { changeText(collectorLogKey, name); }

std::string ResultDirectory::getCommandLog() { return logPath(commandLogKey, "command.log"); }

void ResultDirectory::setCommandLog(const char* name) { changeText(commandLogKey, name); }

}  // namespace vesta2
