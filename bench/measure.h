#pragma once
/// What the benchmarks share: a directory, a clock, and the comparison with other ways.

#include <benchmark/benchmark.h>

#include <boost/filesystem/operations.hpp>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "vesta2/result_directory_manager.h"

namespace bench {

namespace fs = boost::filesystem;

/// A directory of its own for one benchmark, below $VESTA2_BENCH_DIR or in memory.
class Directory {
public:
    Directory() {
        const char* chosen = std::getenv("VESTA2_BENCH_DIR");
        std::string pattern = std::string(chosen ? chosen : "/dev/shm") + "/vesta2-bench-XXXXXX";
        if (!::mkdtemp(pattern.data())) {
            throw std::runtime_error("cannot make a directory: " + pattern);
        }
        m_path = pattern;
    }
    ~Directory() { fs::remove_all(m_path); }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    [[nodiscard]] const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

using Clock = std::chrono::steady_clock;

inline double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

/// About what a new marker file holds.
inline const std::string markerText(330, 'x');

/// Makes results of the names r00000, r00001, ... in `directory`.
inline void createResults(const std::string& directory, std::size_t count) {
    const std::string pattern = directory + "/r@@@@@";
    for (std::size_t i = 0; i < count; ++i) {
        if (!vesta2::ResultDirectoryManager::create(pattern.c_str(), false, nullptr, false,
                                                    nullptr)) {
            throw std::runtime_error("cannot create a result in " + directory);
        }
    }
}

/// Seconds that `work` takes.
template <class Work>
double timed(const Work& work) {
    const Clock::time_point begin = Clock::now();
    work();
    return secondsSince(begin);
}

/// Tells the sums of all iterations by item, and whether the ratio is as low as it is wanted; a
/// `goal` of 0 is none.
inline void report(benchmark::State& state, std::size_t items, double librarySum, double rawSum,
                   double goal) {
    const double perItem =
        1e6 / (static_cast<double>(items) * static_cast<double>(state.iterations()));
    state.counters["us_per_item"] = librarySum * perItem;
    state.counters["raw_us"] = rawSum * perItem;
    state.counters["ratio"] = librarySum / rawSum;
    if (goal > 0) {
        state.counters["goal"] = goal;
        state.SetLabel(librarySum / rawSum <= goal ? "holds" : "misses");
    }
}

/// Times `library` and `raw` in turn, once per iteration, and reports both per item.
template <class Library, class Raw>
void measure(benchmark::State& state, std::size_t items, const Library& library, const Raw& raw,
             double goal) {
    double librarySum = 0;
    double rawSum = 0;
    for ([[maybe_unused]] auto _ : state) {
        const double elapsed = timed(library);
        rawSum += timed(raw);
        librarySum += elapsed;
        state.SetIterationTime(elapsed);
    }
    report(state, items, librarySum, rawSum, goal);
}

}  // namespace bench
