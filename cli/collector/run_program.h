#pragma once
/// Runs a program to its end while it is sampled.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/signals.h"
#include "collector/record_file.h"
#include "collector/surroundings.h"
#include "collector/work_tree.h"

namespace cli {

struct RunRequest {
    const std::vector<std::string>& command;
    /// Gets the samples.
    RecordFile& samples;
    std::chrono::milliseconds interval{};
    /// Gets a copy of the program's output; null when the program keeps the standard streams.
    RecordFile* capture = nullptr;
    /// Asked while the program runs.
    WorkTree& workTree;
    Report report;
};

struct RunOutcome {
    /// `errno` value when the program's output could not be passed on; 0 for a closed reader.
    int outputError = 0;
    int startError = 0;  ///< `errno` value when the program could not be started
    bool wasKilled = false;
    int code = 0;  ///< exit code, or the signal that killed it
    std::chrono::microseconds elapsed{};
    /// Of the program and of those of its descendants that ended before it or were waited for.
    std::chrono::microseconds userTime{};
    std::chrono::microseconds systemTime{};
    std::optional<std::uint64_t> peakMemoryBytes;  ///< none of a program that ended too soon
    std::uint64_t readBytes = 0;
    std::uint64_t writtenBytes = 0;
    std::uint64_t sampleCount = 0;
};

/// `signals` are passed on to the program where it did not get them itself. Returns when the
/// program has ended; processes that it leaves behind are not waited for. Raises `Failure` when the
/// samples could not be written, but only after the program has ended.
RunOutcome runProgram(const RunRequest& request, Signals& signals);

}  // namespace cli
