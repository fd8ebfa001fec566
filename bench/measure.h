#pragma once
/// What the benchmarks share: a directory, a clock, and the comparison with other ways.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "results.h"

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

/// Seconds that `work` takes.
template <class Work>
double timed(const Work& work) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

inline double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// The seconds of the library and of the raw calls, one after the other.
struct Pair {
    double library;
    double raw;
};

/// Reports the median of the ratios of pairs, which what else the machine does disturbs least, and
/// the median times by item. A `goal` of 0 is none.
template <class MeasurePair>
void measurePairs(benchmark::State& state, std::size_t items, double goal,
                  const MeasurePair& measurePair) {
    std::vector<double> ratios;
    std::vector<double> library;
    std::vector<double> raw;
    for ([[maybe_unused]] auto _ : state) {
        const Pair pair = measurePair();
        ratios.push_back(pair.library / pair.raw);
        library.push_back(pair.library * 1e6 / static_cast<double>(items));
        raw.push_back(pair.raw * 1e6 / static_cast<double>(items));
        state.SetIterationTime(pair.library);
    }
    state.counters["us"] = median(library);
    state.counters["raw_us"] = median(raw);
    state.counters["ratio"] = median(ratios);
    state.counters["goal"] = goal;
    if (goal > 0) {
        state.SetLabel(median(ratios) <= goal ? "holds" : "misses");
    }
}

/// Times `library` and `raw` in turn.
template <class Library, class Raw>
void measure(benchmark::State& state, std::size_t items, const Library& library, const Raw& raw,
             double goal) {
    measurePairs(state, items, goal, [&] { return Pair{timed(library), timed(raw)}; });
}

/// As few pairs as have a median that one disturbance does not move.
inline void style(benchmark::internal::Benchmark* benchmark) {
    benchmark->UseManualTime()->Iterations(9);
}

}  // namespace bench
