#pragma once
/// The properties, logs and state that `collect` leaves in a result.

#include <string>
#include <vector>

#include "basekit2/object.h"
#include "collector/made_directory.h"
#include "collector/record_file.h"
#include "collector/run_program.h"
#include "vesta2/i_result_directory.h"

namespace cli {

/// The result is incomplete until `finish`, but its marker file is readable at any moment. Another
/// directory that has taken the path of the result is never written to.
class Recording {
public:
    /// Opens the logs in `directory`, which is that of the result; raises `Failure`.
    Recording(basekit2::sptr_t<vesta2::IResultDirectory> result, const MadeDirectory& directory,
              const std::vector<std::string>& command);

    /// Logs the command, and puts its properties in memory.
    void begin();
    /// Saves what is known before the program runs.
    void save();
    /// A line with the time in the collector's log.
    void log(const std::string& line);
    /// Saves the outcome.
    void end(const RunOutcome& outcome);
    /// Marks the result finalized, when everything else has been written and is on the disk.
    void finish();
    /// Marks the result invalid, which may move it. Nothing can be logged after that.
    void giveUp(const std::string& reason);

private:
    basekit2::sptr_t<vesta2::IResultDirectory> m_result;
    const std::vector<std::string>& m_command;
    std::string m_workingDirectory;
    const MadeDirectory& m_directory;
    RecordFile m_log;
    RecordFile m_commandLog;
};

}  // namespace cli
