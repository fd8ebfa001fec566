// Creating, opening and listing results, each measured in turn with the raw system calls that do
// the least work for it: "ratio" is the library's time over theirs in the same run.

#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <thread>
#include <vector>

#include "measure.h"
#include "raw_calls.h"
#include "vesta2/vesta2.h"

namespace {

using bench::createResults;
using bench::Directory;
using bench::markerText;
using bench::measure;
using vesta2::ResultDirectoryManager;

std::size_t openResults(const std::string& directory, std::size_t begin, std::size_t end) {
    std::size_t opened = 0;
    for (std::size_t i = begin; i < end; ++i) {
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

void create(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    measure(
        state, count, [count] { createResults(Directory().path(), count); },
        [count] { bench::createRaw(Directory().path(), count, markerText); }, 1.5);
}

void open(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const Directory directory;
    createResults(directory.path(), count);
    measure(
        state, count, [&] { benchmark::DoNotOptimize(openResults(directory.path(), 0, count)); },
        [&] { benchmark::DoNotOptimize(bench::openRaw(directory.path(), count)); }, 1.6);
}

void list(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const Directory directory;
    createResults(directory.path(), count);
    measure(
        state, count, [&] { benchmark::DoNotOptimize(listResults(directory.path())); },
        [&] { benchmark::DoNotOptimize(bench::listRaw(directory.path())); }, 0);
}

void listProject(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const Directory directory;
    vesta2::IProject::create(directory.path().c_str(), nullptr, false);
    createResults(directory.path(), count);
    measure(
        state, count, [&] { benchmark::DoNotOptimize(listResults(directory.path())); },
        [&] { benchmark::DoNotOptimize(bench::listRaw(directory.path())); }, 0);
}

void find(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const Directory directory;
    createResults(directory.path(), count);
    measure(
        state, count,
        [&] {
            vesta2::FileSet found;
            vesta2::findPatternedMarkerFileOrLink("*", directory.path().c_str(),
                                                  vesta2::FileSet(".zentor"), found, 0, false);
            benchmark::DoNotOptimize(found.size());
        },
        [&] { benchmark::DoNotOptimize(bench::findRaw(directory.path())); }, 1.15);
}

/// What is deleted is made anew each time, outside the measurement.
void purge(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    double librarySum = 0;
    double rawSum = 0;
    for ([[maybe_unused]] auto _ : state) {
        const Directory directory;
        createResults(directory.path(), count);
        const auto group = vesta2::INodeGroup::open(directory.path().c_str());
        const double elapsed = bench::timed([&] { group->purge("*", 0); });
        bench::createRaw(directory.path(), count, markerText);
        rawSum += bench::timed([&] { bench::purgeRaw(directory.path()); });
        librarySum += elapsed;
        state.SetIterationTime(elapsed);
    }
    bench::report(state, count, librarySum, rawSum, 2.0);
}

/// Runs `work` in so many processes at once.
void inProcesses(int processes, const std::function<void()>& work) {
    std::vector<pid_t> children;
    for (int i = 0; i < processes; ++i) {
        children.push_back(::fork());
        if (children.back() == 0) {
            work();
            ::_exit(0);
        }
    }
    for (const pid_t child : children) {
        int status = 0;
        if (::waitpid(child, &status, 0) != child || status != 0) {
            throw std::runtime_error("a process failed");
        }
    }
}

void createByProcesses(benchmark::State& state) {
    constexpr int processes = 8;
    const auto each = static_cast<std::size_t>(state.range(0)) / processes;
    measure(
        state, each * processes,
        [&] {
            const Directory directory;
            inProcesses(processes, [&] { createResults(directory.path(), each); });
        },
        [&] {
            const Directory directory;
            inProcesses(processes,
                        [&] { bench::createByScanRaw(directory.path(), each, markerText); });
        },
        0.8);
}

/// The ratio is of two threads to one.
void openByThreads(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const Directory directory;
    createResults(directory.path(), count);
    measure(
        state, count,
        [&] {
            std::jthread other([&] { openResults(directory.path(), 0, count / 2); });
            openResults(directory.path(), count / 2, count);
        },
        [&] { openResults(directory.path(), 0, count); }, 0.65);
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(100)->Arg(1000)->Arg(10000)->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(create)->Apply(sizes)->MinTime(0.1);
BENCHMARK(open)->Apply(sizes);
BENCHMARK(list)->Apply(sizes);
BENCHMARK(find)->Apply(sizes);
BENCHMARK(purge)->Apply(sizes)->MinTime(0.1);
BENCHMARK(createByProcesses)->Arg(4000)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(openByThreads)->Arg(10000)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(listProject)->Apply(sizes);

}  // namespace
