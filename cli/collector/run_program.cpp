#include "collector/run_program.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>

#include "collector/process_tree.h"
#include "collector/sampler.h"
#include "collector/spawn.h"
#include "collector/tee.h"

namespace cli {
namespace {

using std::chrono::duration_cast;
using std::chrono::microseconds;
using Clock = Sampler::Clock;

microseconds toMicroseconds(const timeval& time) {
    return std::chrono::seconds(time.tv_sec) + microseconds(time.tv_usec);
}

std::uint64_t toBytes(long kibibytes) { return static_cast<std::uint64_t>(kibibytes) * 1024; }

class Run {
public:
    Run(const RunRequest& request, Signals& signals)
        : m_request(request),
          m_signals(signals),
          m_tree(request.workTree.group()),
          m_sampler(m_tree, request.samples, request.interval) {
        if (request.capture) {
            m_output.emplace(STDOUT_FILENO, *request.capture);
            m_error.emplace(STDERR_FILENO, *request.capture);
        }
    }

    RunOutcome run() {
        const Clock::time_point begin = Clock::now();
        if (!start()) {
            return m_outcome;
        }
        m_sampler.start();
        while (!m_hasEnded) {
            wait();
        }
        m_outcome.elapsed = duration_cast<microseconds>(Clock::now() - begin);
        m_sampler.sample();
        if (m_request.capture) {
            m_output->finish();
            m_error->finish();
            m_outcome.outputError = m_output->error() != 0 ? m_output->error() : m_error->error();
        }
        m_outcome.peakMemoryBytes = peakBytes();
        m_outcome.readBytes = m_sampler.last().bytes.read;
        m_outcome.writtenBytes = m_sampler.last().bytes.written;
        m_outcome.sampleCount = m_sampler.count();
        return m_outcome;
    }

private:
    bool start() {
        SpawnRequest spawn{m_request.command, m_signals};
        if (m_request.capture) {
            spawn.output = m_output->writeEnd();
            spawn.error = m_error->writeEnd();
        }
        m_outcome.startError = spawnProgram(spawn, m_program);
        if (m_outcome.startError != 0) {
            return false;
        }
        // As the kernel saw it when the program replaced the copy of this process.
        rusage own{};
        ::getrusage(RUSAGE_SELF, &own);
        m_ownPeakBytes = toBytes(own.ru_maxrss);
        m_request.report("started as process " + std::to_string(m_program));
        if (m_request.capture) {
            m_output->closeWriteEnd();
            m_error->closeWriteEnd();
        }
        return true;
    }

    /// Until something happens or a sample is due, and does what is needed then.
    void wait() {
        const pollfd nothing{-1, 0, 0};
        std::array<pollfd, 4> events{
            pollfd{m_signals.descriptor(), POLLIN, 0}, m_output ? m_output->interest() : nothing,
            m_error ? m_error->interest() : nothing, m_request.workTree.interest()};
        const auto due = std::min(m_sampler.due(), m_request.workTree.due());
        const auto left = std::max(due - Clock::now(), Clock::duration::zero());
        const auto seconds = duration_cast<std::chrono::seconds>(left);
        const timespec timeout{seconds.count(), std::chrono::nanoseconds(left - seconds).count()};
        if (::ppoll(events.data(), events.size(), &timeout, nullptr) > 0) {
            if (events[1].revents != 0) {
                m_output->advance();
            }
            if (events[2].revents != 0) {
                m_error->advance();
            }
            if (events[0].revents != 0) {
                takeSignals();
            }
        }
        m_request.workTree.advance();
        if (!m_hasEnded && Clock::now() >= m_sampler.due()) {
            m_sampler.sample();
        }
    }

    void takeSignals() {
        for (Signals::Signal signal; m_signals.next(signal);) {
            if (signal.number == SIGCHLD) {
                reapChildren();
            } else if (signal.wasSent && !m_hasEnded) {
                ::kill(m_program, signal.number);
                m_request.report("passed on signal " + std::to_string(signal.number));
            }
        }
    }

    void reapChildren() {
        for (ProcessTree::Ended child; m_tree.reap(child);) {
            if (!child.isForeign) {
                addUsage(child.usage);
            }
            if (child.process == m_program) {
                m_hasEnded = true;
                m_outcome.wasKilled = WIFSIGNALED(child.status);
                m_outcome.code =
                    m_outcome.wasKilled ? WTERMSIG(child.status) : WEXITSTATUS(child.status);
            }
        }
    }

    void addUsage(const rusage& usage) {
        m_outcome.userTime += toMicroseconds(usage.ru_utime);
        m_outcome.systemTime += toMicroseconds(usage.ru_stime);
        m_largestBytes = std::max(m_largestBytes, toBytes(usage.ru_maxrss));
    }

    /// The kernel's figure for a program begins with the peak of the process that started it, this
    /// one. Where it tells no more than that, what was sampled is closer to the truth, but for the
    /// samples at the beginning and at the end: then nothing is known.
    [[nodiscard]] std::optional<std::uint64_t> peakBytes() const {
        const std::uint64_t sampled = m_sampler.peakBytes();
        if (m_largestBytes > m_ownPeakBytes) {
            return std::max(m_largestBytes, sampled);
        }
        constexpr unsigned atBothEnds = 2;
        return m_sampler.count() > atBothEnds ? std::optional(sampled) : std::nullopt;
    }

    const RunRequest& m_request;
    Signals& m_signals;
    ProcessTree m_tree;
    Sampler m_sampler;
    std::optional<Tee> m_output;
    std::optional<Tee> m_error;
    std::uint64_t m_ownPeakBytes = 0;
    std::uint64_t m_largestBytes = 0;  ///< peak of the largest process that ended
    pid_t m_program = 0;
    bool m_hasEnded = false;
    RunOutcome m_outcome;
};

}  // namespace

RunOutcome runProgram(const RunRequest& request, Signals& signals) {
    return Run(request, signals).run();
}

}  // namespace cli
