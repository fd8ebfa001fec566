// Creating, opening and listing results, each measured in turn with the raw system calls that do
// the least work for it: "ratio" is the library's time over theirs in the same run.

#include "measure.h"
#include "raw_calls.h"
#include "vesta2/vesta2.h"

namespace {

using bench::Directory;
using bench::measure;
using vesta2::ResultDirectoryManager;

/// About what a new marker file holds.
const std::string markerText(330, 'x');

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

void create(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    measure(
        state, count, [count] { createResults(Directory().path(), count); },
        [count] { bench::createRaw(Directory().path(), count, markerText); });
}

void open(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const Directory directory;
    createResults(directory.path(), count);
    measure(
        state, count, [&] { benchmark::DoNotOptimize(openResults(directory.path(), count)); },
        [&] { benchmark::DoNotOptimize(bench::openRaw(directory.path(), count)); });
}

void list(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const Directory directory;
    createResults(directory.path(), count);
    measure(
        state, count, [&] { benchmark::DoNotOptimize(listResults(directory.path())); },
        [&] { benchmark::DoNotOptimize(bench::listRaw(directory.path())); });
}

void listProject(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const Directory directory;
    vesta2::IProject::create(directory.path().c_str(), nullptr, false);
    createResults(directory.path(), count);
    measure(
        state, count, [&] { benchmark::DoNotOptimize(listResults(directory.path())); },
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
