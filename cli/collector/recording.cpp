#include "collector/recording.h"

#include <ctime>
#include <filesystem>
#include <utility>

#include "base/failure.h"
#include "base/text.h"
#include "nodes/properties.h"
#include "vesta2/result_directory_manager.h"

namespace cli {
namespace {

std::uint64_t count(std::chrono::microseconds time) {
    return static_cast<std::uint64_t>(time.count());
}

/// Of a file in the directory of the result.
std::string nameOf(const std::string& path) {
    return std::filesystem::path(path).filename().native();
}

}  // namespace

Recording::Recording(basekit2::sptr_t<vesta2::IResultDirectory> result,
                     const MadeDirectory& directory, const std::vector<std::string>& command)
    : m_result(std::move(result)),
      m_command(command),
      m_workingDirectory(std::filesystem::current_path().native()),
      m_directory(directory),
      m_log(m_directory.descriptor(), m_directory.path(), nameOf(m_result->getCollectorLog())),
      m_commandLog(m_directory.descriptor(), m_directory.path(),
                   nameOf(m_result->getCommandLog())) {}

void Recording::begin() {
    const std::string line = shellQuote(m_command);
    m_commandLog.append("command: " + escapeText(line) +
                        "\nworking directory: " + escapeText(m_workingDirectory) + "\n");
    m_result->setCollectorCommand(line.c_str());
    m_result->setCollectionTimeBegin(std::time(nullptr));
    putProperty(*m_result, key::workingDirectory, m_workingDirectory);
    log("collecting: " + line);
}

void Recording::save() {
    m_directory.require();
    saveProperties(*m_result);
}

void Recording::log(const std::string& line) {
    m_log.append(utcTime(std::time(nullptr)) + " " + escapeText(line) + "\n");
}

void Recording::end(const RunOutcome& outcome) {
    log((outcome.wasKilled ? "killed by signal " : "ended with exit code ") +
        std::to_string(outcome.code));
    const auto put = [&](const char* name, const basekit2::variant_t& value) {
        putProperty(*m_result, name, value);
    };
    m_result->setCollectionTimeEnd(std::time(nullptr));
    m_result->setFinalizationTimeBegin(std::time(nullptr));
    put(outcome.wasKilled ? key::exitSignal : key::exitCode, outcome.code);
    put(key::elapsed, count(outcome.elapsed));
    put(key::userTime, count(outcome.userTime));
    put(key::systemTime, count(outcome.systemTime));
    if (outcome.peakMemoryBytes) {
        put(key::peakMemory, *outcome.peakMemoryBytes);
    }
    put(key::readBytes, outcome.readBytes);
    put(key::writtenBytes, outcome.writtenBytes);
    put(key::sampleCount, outcome.sampleCount);
    m_result->setFinalizationTimeEnd(std::time(nullptr));
    save();
}

void Recording::finish() {
    m_log.settle();
    m_commandLog.settle();
    flushDirectory(std::filesystem::path(m_result->getPath()).parent_path());
    m_directory.require();
    m_result->setFinalized(true);
    const vesta2::error_t status = vesta2::ResultDirectoryManager::getLastError();
    if (status != vesta2::eOK) {
        throw Failure::fromStatus(status, m_result->getPath());
    }
}

void Recording::giveUp(const std::string& reason) {
    log(reason);
    m_directory.require();
    m_result->setInvalid();
}

}  // namespace cli
