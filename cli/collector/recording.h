#pragma once
/// What `collect` leaves in a result beside the samples.

#include <string>
#include <vector>

#include "basekit2/object.h"
#include "collector/record_file.h"
#include "collector/run_program.h"
#include "vesta2/i_result_directory.h"

namespace cli {

/// Between `begin` and the end the result is incomplete, but readable at any moment. Its directory
/// must stay where it is: what has taken its place is never written to.
class Recording {
public:
    /// Opens the logs; raises `Failure`.
    Recording(basekit2::sptr_t<vesta2::IResultDirectory> result,
              const std::vector<std::string>& command);

    /// Saves what is known before the program runs.
    void begin();
    /// A line with the time in the collector's log.
    void log(const std::string& line);
    /// Saves the outcome.
    void end(const RunOutcome& outcome);
    /// Marks the result finalized, when everything else has been written and is on the disk.
    void finish();
    /// Marks the result invalid, which may move it: nothing is logged after that.
    void giveUp(const std::string& reason);

private:
    void requireSameDirectory() const;

    basekit2::sptr_t<vesta2::IResultDirectory> m_result;
    const std::vector<std::string>& m_command;
    std::string m_workingDirectory;
    basekit2::descriptor_t m_directory;
    RecordFile m_log;
    RecordFile m_commandLog;
};

}  // namespace cli
