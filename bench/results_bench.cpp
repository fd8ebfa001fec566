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
using bench::openResults;
using bench::style;

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
        state, count, [&] { openResults(directory.path(), 0, count); },
        [&] { benchmark::DoNotOptimize(bench::openRaw(directory.path(), 0, count)); }, 1.6);
}

/// Of a directory with so many results, a project's if `isProject`.
template <class Library, class Raw>
void readAll(benchmark::State& state, const Library& library, const Raw& raw, double goal,
             bool isProject = false) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const Directory directory;
    if (isProject) {
        vesta2::IProject::create(directory.path().c_str(), nullptr, false);
    }
    createResults(directory.path(), count);
    measure(
        state, count, [&] { benchmark::DoNotOptimize(library(directory.path())); },
        [&] { benchmark::DoNotOptimize(raw(directory.path())); }, goal);
}

void find(benchmark::State& state) { readAll(state, bench::findResults, bench::findRaw, 1.15); }
void list(benchmark::State& state) { readAll(state, bench::listResults, bench::listRaw, 0); }
void listProject(benchmark::State& state) {
    readAll(state, bench::listResults, bench::listRaw, 0, true);
}

/// Of one result, again and again; a second save of the same has no change.
template <class Raw>
void save(benchmark::State& state, bool isChanged, std::size_t saves, const Raw& raw, double goal) {
    const Directory directory;
    createResults(directory.path(), 1);
    const std::string path = bench::resultPath(directory.path(), 0);
    const bench::Result result = bench::openResult(path);
    measure(
        state, saves, [&] { bench::saveResult(result, saves, isChanged); },
        [&] {
            for (std::size_t i = 0; i < saves; ++i) {
                raw(path + "/r00000.zentor");
            }
        },
        goal);
}

void saveChange(benchmark::State& state) {
    save(
        state, true, 50, [](const std::string& marker) { bench::saveRaw(marker, markerText); },
        1.5);
}

/// The goal is a time: what need not be done has no raw calls but a look.
void saveWithoutChange(benchmark::State& state) {
    constexpr double goal = 10;
    save(state, false, 200, bench::lookRaw, 0);
    state.counters["goal_us"] = goal;
    state.SetLabel(state.counters["us"] <= goal ? "holds" : "misses");
}

/// What is deleted is made anew each time, outside the measurement.
void purge(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    bench::measurePairs(state, count, 2.0, [count] {
        const Directory directory;
        createResults(directory.path(), count);
        const auto group = vesta2::INodeGroup::open(directory.path().c_str());
        const double library = bench::timed([&] { group->purge("*", 0); });
        bench::createRaw(directory.path(), count, markerText);
        return bench::Pair{library, bench::timed([&] { bench::purgeRaw(directory.path()); })};
    });
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
template <class Open>
void byThreads(benchmark::State& state, const Open& open, double goal) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const Directory directory;
    createResults(directory.path(), count);
    measure(
        state, count,
        [&] {
            std::jthread other([&] { open(directory.path(), 0, count / 2); });
            open(directory.path(), count / 2, count);
        },
        [&] { open(directory.path(), 0, count); }, goal);
}

void openByThreads(benchmark::State& state) { byThreads(state, openResults, 0.65); }
/// What a second thread is worth on this machine.
void openRawByThreads(benchmark::State& state) { byThreads(state, bench::openRaw, 0); }

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Apply(style)->Arg(100)->Arg(1000)->Arg(10000);
}

BENCHMARK(create)->Apply(sizes);
BENCHMARK(createByProcesses)->Apply(style)->Arg(4000);
BENCHMARK(open)->Apply(sizes);
BENCHMARK(openByThreads)->Apply(style)->Arg(10000);
BENCHMARK(openRawByThreads)->Apply(style)->Arg(10000);
BENCHMARK(find)->Apply(sizes);
BENCHMARK(list)->Apply(sizes);
BENCHMARK(listProject)->Apply(sizes);
BENCHMARK(saveChange)->Apply(style);
BENCHMARK(saveWithoutChange)->Apply(style);
BENCHMARK(purge)->Apply(sizes);

}  // namespace
