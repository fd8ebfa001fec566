#pragma once
/// Samples of the collected program, as rows of a CSV file.

#include <chrono>
#include <cstdint>

#include "collector/process_tree.h"
#include "collector/record_file.h"

namespace cli {

inline constexpr const char* samplesFileName = "samples.csv";

/// Writes one row for each sample. Takes at most a twentieth of a processor: when a sample takes
/// long, because there are many processes, samples become fewer.
class Sampler {
public:
    using Clock = std::chrono::steady_clock;

    Sampler(ProcessTree& tree, RecordFile& file, std::chrono::milliseconds interval);

    /// The program has just been started: time 0 and the first row.
    void start();
    void sample();
    [[nodiscard]] Clock::time_point due() const { return m_due; }

    [[nodiscard]] std::uint64_t count() const { return m_count; }
    /// The greatest sum of resident memory.
    [[nodiscard]] std::uint64_t peakBytes() const { return m_peakBytes; }
    [[nodiscard]] const ProcessUsage& last() const { return m_last; }

private:
    ProcessTree& m_tree;
    RecordFile& m_file;
    std::chrono::milliseconds m_interval;
    Clock::time_point m_begin;
    Clock::time_point m_lastTime;
    Clock::time_point m_due;
    ProcessUsage m_last;
    double m_shownNanoseconds = 0;  ///< processor time that the rows hold so far
    std::uint64_t m_count = 0;
    std::uint64_t m_peakBytes = 0;
};

}  // namespace cli
