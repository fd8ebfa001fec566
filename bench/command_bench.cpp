// The command as a process, beside a program that does nothing and the raw system calls of the same
// work.

#include <vector>

#include "measure.h"
#include "raw_calls.h"
#include "run_program.h"

namespace {

using bench::Directory;
using bench::measure;
using bench::runProgram;
using bench::style;
using Words = std::vector<std::string>;

void runCommand(Words words) {
    words.insert(words.begin(), VESTA2_COMMAND);
    runProgram(std::move(words));
}

void runEmpty() { runProgram({EMPTY_PROGRAM}); }

void commandStart(benchmark::State& state) {
    measure(
        state, 1, [] { runCommand({"--version"}); }, runEmpty, 1.5);
}

/// The raw calls are made by this process, and the empty program is run for the command's start.
void commandCreate(benchmark::State& state) {
    const Directory library;
    const Directory raw;
    bench::createResults(library.path(), static_cast<std::size_t>(state.range(0)));
    bench::createRaw(raw.path(), static_cast<std::size_t>(state.range(0)), bench::markerText);
    measure(
        state, 1,
        [&] {
            runCommand({"create", "result", library.path() + "/r@@@@@"});
        },
        [&] {
            runEmpty();
            bench::createByScanRaw(raw.path(), 1, bench::markerText);
        },
        1.8);
}

/// What is told about `directory`, beside an empty program and the loop that reads the same.
template <class Raw>
void commandReads(benchmark::State& state, const Words& words, const Raw& raw, double goal) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const Directory directory;
    bench::createResults(directory.path(), count);
    Words all = words;
    all.push_back(directory.path());
    measure(
        state, count, [&] { runCommand(all); },
        [&] {
            runEmpty();
            benchmark::DoNotOptimize(raw(directory.path()));
        },
        goal);
}

void commandList(benchmark::State& state) { commandReads(state, {"list"}, bench::listRaw, 1.9); }
void commandListJson(benchmark::State& state) {
    commandReads(state, {"--json", "list"}, bench::listRaw, 1.9);
}
void commandListLast(benchmark::State& state) {
    commandReads(
        state, {"list", "--reverse", "--limit", "5"},
        [](const std::string& directory) { return bench::lastRaw(directory, 5); }, 1.9);
}
void commandPurgePlan(benchmark::State& state) {
    commandReads(state, {"purge", "--keep", "1", "--mask", "*", "--dry-run"}, bench::listRaw, 2.2);
}

/// Beside a program that tells the same of another's end.
void commandCollect(benchmark::State& state) {
    const Directory directory;
    measure(
        state, 1,
        [&] {
            runCommand({"-C", directory.path(), "collect", "--name", "r@@@@@", "--", "true"});
        },
        [] {
            runProgram({"time", "true"});
        },
        2.0);
}

BENCHMARK(commandStart)->Apply(style);
BENCHMARK(commandCreate)->Apply(style)->Arg(1000);
BENCHMARK(commandList)->Apply(style)->Arg(10000);
BENCHMARK(commandListJson)->Apply(style)->Arg(10000);
BENCHMARK(commandListLast)->Apply(style)->Arg(10000);
BENCHMARK(commandPurgePlan)->Apply(style)->Arg(10000);
BENCHMARK(commandCollect)->Apply(style);

}  // namespace
