#pragma once
/// What is tried again and again while things fail, processes are killed and others interfere. Each
/// trial counts what it did, and tells what was wrong.

#include <fmt/format.h>
#include <sys/mman.h>

#include <array>
#include <atomic>
#include <iostream>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/child_process.h"

namespace torture {

using Clock = std::chrono::steady_clock;

constexpr int exitSkipped = 77;
constexpr int exitWrong = 78;

struct Options {
    std::vector<std::string> words;   ///< trials, and beginnings of commands; all when empty
    std::vector<std::string> places;  ///< directories to work in: mounts of one file system
    bool isWhole = false;             ///< all there is to try, not a sample
    bool isBroken = false;            ///< with calls that break the promise: the trial must notice
    unsigned long seconds = 0;        ///< at most, for a trial; 0 is no limit
    long creations = 0;               ///< to make, and nothing else: as a rank of a launcher
    unsigned seed = std::random_device()();
};

/// Something that a trial needs is not to be had here.
struct Unavailable : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A value that this process shares with those that it forks. It is never unmapped.
template <class Value>
class Shared {
public:
    Shared()
        : m_value(new (::mmap(nullptr, sizeof(Value), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Value()) {}
    Value& operator*() const { return *m_value; }
    Value* operator->() const { return m_value; }

private:
    Value* m_value;
};

/// What a trial counts, by all of its processes.
class Report {
public:
    /// `name` is kept as it is: a literal.
    std::atomic<long>& operator[](const char* name);
    /// Prints a line, and counts it.
    template <class... Parts>
    void blame(fmt::format_string<Parts...> what, Parts&&... parts) {
        ++m_shared->wrong;
        std::cout << fmt::format(what, std::forward<Parts>(parts)...) + "\n" << std::flush;
    }
    [[nodiscard]] long wrong() const { return m_shared->wrong; }
    [[nodiscard]] std::string text() const;

private:
    struct Counter {
        std::atomic<const char*> name{nullptr};
        std::atomic<long> value{0};
    };
    struct Counts {
        std::atomic<long> wrong{0};
        std::array<Counter, 16> counters;
    };
    Shared<Counts> m_shared;
};

/// One run of a trial.
struct Run {
    const Options& options;
    Report& report;
    const Clock::time_point begin = Clock::now();
    std::mt19937 chance{options.seed};

    [[nodiscard]] bool isOver() const {
        return options.seconds > 0 && Clock::now() > begin + std::chrono::seconds(options.seconds);
    }
    /// Whether it works in a network file system.
    [[nodiscard]] bool isRemote() const { return !options.places.empty(); }
    unsigned below(std::size_t limit) { return static_cast<unsigned>(chance() % limit); }
};

/// Runs `work` in so many processes at once, with the number of each.
void inProcesses(std::size_t count, const std::function<void(std::size_t)>& work);

/// Keeps so many processes at work until then: `start` is called with the number of each, and again
/// when one has ended. A while, in microseconds, is between two looks at them.
void crowd(Run& run, std::size_t count, Clock::time_point until, std::size_t pause,
           const std::function<support::ChildProcess(std::size_t)>& start);

}  // namespace torture
