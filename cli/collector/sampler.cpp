#include "collector/sampler.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>

namespace cli {
namespace {

/// The part of a processor that sampling may take is one in so many.
constexpr int restPerWork = 20;

}  // namespace

Sampler::Sampler(ProcessTree& tree, RecordFile& file, std::chrono::milliseconds interval)
    : m_tree(tree), m_file(file), m_interval(interval) {
    m_file.append("time_s,cpu_percent,resident_bytes,threads,read_bytes,written_bytes\n");
}

void Sampler::start() {
    m_begin = m_lastTime = m_due = Clock::now();
    sample();
}

void Sampler::sample() {
    const Clock::time_point now = Clock::now();
    const ProcessUsage usage = m_tree.measure();
    const double elapsed = std::chrono::duration<double, std::nano>(now - m_lastTime).count();
    // The kernel accounts the times of ended processes late and in clock ticks. Time that cannot
    // have been used since the last row is left for the next one.
    static const auto processors = static_cast<double>(::sysconf(_SC_NPROCESSORS_ONLN));
    const double busy = std::min(static_cast<double>(usage.cpuNanoseconds) - m_shownNanoseconds,
                                 elapsed * processors);
    // The first row has no time behind it to be busy in.
    const double percent = m_count > 0 && elapsed > 0 ? busy / elapsed * 100 : 0;
    m_file.append(fmt::format(
        "{:.6f},{:.1f},{},{},{},{}\n", std::chrono::duration<double>(now - m_begin).count(),
        percent, usage.residentBytes, usage.threads, usage.bytes.read, usage.bytes.written));
    m_shownNanoseconds += busy;
    ++m_count;
    m_peakBytes = std::max(m_peakBytes, usage.residentBytes);
    m_last = usage;
    m_lastTime = now;
    const Clock::time_point done = Clock::now();
    m_due = std::max({m_due + m_interval, done, now + restPerWork * (done - now)});
}

}  // namespace cli
