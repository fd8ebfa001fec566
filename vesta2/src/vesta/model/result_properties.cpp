#include <boost/filesystem/operations.hpp>
#include <string_view>

#include "vesta2/names.h"
#include "vesta2/property_names.h"
#include "vesta2/result_directory.h"

namespace vesta2 {

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

const char* ResultDirectory::getCreationHostName() {
    return getRdPropStr(property::hostname, "unknown");
}

const char* ResultDirectory::getCreationOs(bool pretty) {
    const char* const os = getRdPropStr(property::os, "unknown");
    if (pretty && std::string_view(os) == os_name::ofWindows) {
        return "Windows*";
    }
    return pretty && std::string_view(os) == os_name::ofLinux ? "Linux*" : os;
}

int ResultDirectory::getMpiRank() { return getRdPropInt(property::mpiRank, -1); }

const char* ResultDirectory::getCollectorCommand() {
    return getRdPropStr(property::collectionCommand, nullptr);
}

void ResultDirectory::setCollectorCommand(const char* command) {
    changeText(property::collectionCommand, command);
}

long ResultDirectory::getCollectionTimeBegin() {
    return getRdPropTime(property::collectionTimeBegin, 0);
}

void ResultDirectory::setCollectionTimeBegin(long time) {
    changeTime(property::collectionTimeBegin, time);
}

long ResultDirectory::getCollectionTimeEnd() {
    return getRdPropTime(property::collectionTimeEnd, 0);
}

void ResultDirectory::setCollectionTimeEnd(long time) {
    changeTime(property::collectionTimeEnd, time);
}

long ResultDirectory::getFinalizationTimeBegin() {
    return getRdPropTime(property::finalizationTimeBegin, 0);
}

void ResultDirectory::setFinalizationTimeBegin(long time) {
    changeTime(property::finalizationTimeBegin, time);
}

long ResultDirectory::getFinalizationTimeEnd() {
    return getRdPropTime(property::finalizationTimeEnd, 0);
}

void ResultDirectory::setFinalizationTimeEnd(long time) {
    changeTime(property::finalizationTimeEnd, time);
}

int ResultDirectory::getLogicalCPUCount() { return getRdPropInt(property::logicalCpuCount, 0); }

long long ResultDirectory::getCPUFrequency() { return getRdPropLong(property::cpuFrequency, 0); }

std::string ResultDirectory::logPath(const char* property, const char* usualName) {
    return boost::filesystem::absolute(getRdPropStr(property, usualName), directory()).native();
}

std::string ResultDirectory::getApplicationLog() {
    return logPath(property::applicationLog, result_file::applicationLog);
}

void ResultDirectory::setApplicationLog(const char* name) {
    changeText(property::applicationLog, name);
}

std::string ResultDirectory::getCollectorLog() {
    return logPath(property::collectorLog, result_file::collectorLog);
}

void ResultDirectory::setCollectorLog(const char* name) {
    changeText(property::collectorLog, name);
}

std::string ResultDirectory::getCommandLog() {
    return logPath(property::commandLog, result_file::commandLog);
}

void ResultDirectory::setCommandLog(const char* name) { changeText(property::commandLog, name); }

}  // namespace vesta2
