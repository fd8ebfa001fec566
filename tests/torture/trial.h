#pragma once
/// What is tried again and again while things fail, processes are killed and others interfere. Each
/// trial counts what it did, and tells what was wrong.

#include <sys/mman.h>

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <new>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace torture {

using Clock = std::chrono::steady_clock;

constexpr int exitSkipped = 77;

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
    void blame(const std::string& what);
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
    unsigned below(std::size_t limit) { return static_cast<unsigned>(chance() % limit); }
};

/// Runs `work` in so many processes at once, with the number of each.
void inProcesses(std::size_t count, const std::function<void(std::size_t)>& work);

struct Trial {
    const char* name;
    const char* broken;  ///< the calls by which its promise is broken; see broken_calls.h
    void (*run)(Run& run);
};

const std::vector<Trial>& trials();

}  // namespace torture
