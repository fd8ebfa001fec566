// Creating, opening and listing results, each measured in turn with the raw system calls that do
// the least work for it: "ratio" is the library's time over theirs in the same run.

#include <benchmark/benchmark.h>

#include <boost/filesystem/operations.hpp>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "raw_calls.h"
#include "vesta2/vesta2.h"

namespace {

namespace fs = boost::filesystem;
using vesta2::ResultDirectoryManager;
using Clock = std::chrono::steady_clock;

/// About what a new marker file holds.
const std::string markerText(330, 'x');

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

void createResults(const std::string& directory, std::size_t count) {
    const std::string pattern = directory + "/r@@@@@";
    for (std::size_t i = 0; i < count; ++i) {
        if (!ResultDirectoryManager::create(pattern.c_str(), false, nullptr, false, nullptr)) {
            throw std::runtime_error("cannot create a result in " + directory);
        }
    }
}

std::size_t openResults(const std::string& directory, std::size_t count) {
    std::size_t opened = 0;
    for (std::size_t i = 0; i < count; ++i) {
        std::string path = std::to_string(i);
        path.insert(0, 5 - path.size(), '0').insert(0, directory + "/r");
        opened += ResultDirectoryManager::open(path.c_str(), true, nullptr) ? 1 : 0;
    }
    return opened;
}

std::size_t listResults(const std::string& directory) {
    std::size_t listed = 0;
    const auto group = vesta2::INodeGroup::open(directory.c_str());
    for (auto nodes = group->getNodes("*", 0); !nodes.at_end(); nodes.next()) {
        listed += nodes.current()->getCreationTime() != 0 ? 1 : 0;
    }
    return listed;
}

double seconds(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

/// Times `library` and `raw` in turn, once per iteration, and reports both per result.
template <class Library, class Raw>
void measure(benchmark::State& state, const Library& library, const Raw& raw) {
    const auto count = static_cast<double>(state.range(0));
    double librarySum = 0;
    double rawSum = 0;
    for ([[maybe_unused]] auto _ : state) {
        const Clock::time_point begin = Clock::now();
        library();
        const double elapsed = seconds(begin);
        const Clock::time_point rawBegin = Clock::now();
        raw();
        rawSum += seconds(rawBegin);
        librarySum += elapsed;
        state.SetIterationTime(elapsed);
    }
    const double perResult = 1e6 / (count * static_cast<double>(state.iterations()));
    state.counters["us_per_result"] = librarySum * perResult;
    state.counters["raw_us"] = rawSum * perResult;
    state.counters["ratio"] = librarySum / rawSum;
}

void create(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    measure(
        state, [count] { createResults(Directory().path(), count); },
        [count] { bench::createRaw(Directory().path(), count, markerText); });
}

void open(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const Directory directory;
    createResults(directory.path(), count);
    measure(
        state, [&] { benchmark::DoNotOptimize(openResults(directory.path(), count)); },
        [&] { benchmark::DoNotOptimize(bench::openRaw(directory.path(), count)); });
}

void list(benchmark::State& state) {
    const Directory directory;
    createResults(directory.path(), static_cast<std::size_t>(state.range(0)));
    measure(
        state, [&] { benchmark::DoNotOptimize(listResults(directory.path())); },
        [&] { benchmark::DoNotOptimize(bench::listRaw(directory.path())); });
}

void listProject(benchmark::State& state) {
    const Directory directory;
    vesta2::IProject::create(directory.path().c_str(), nullptr, false);
    createResults(directory.path(), static_cast<std::size_t>(state.range(0)));
    measure(
        state, [&] { benchmark::DoNotOptimize(listResults(directory.path())); },
        [&] { benchmark::DoNotOptimize(bench::listRaw(directory.path())); });
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(100)->Arg(1000)->Arg(10000)->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(create)->Apply(sizes)->MinTime(0.1);
BENCHMARK(open)->Apply(sizes);
BENCHMARK(list)->Apply(sizes);
BENCHMARK(listProject)->Apply(sizes);

}  // namespace
