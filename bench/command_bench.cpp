// The command as a process, beside a program that does nothing and the raw system calls of the same
// work. "mib" is the most memory that the command had.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "measure.h"
#include "raw_calls.h"
#include "vesta2/vesta2.h"

namespace {

using bench::Directory;
using bench::measure;
using Words = std::vector<std::string>;

/// Runs a program to its end, with its output thrown away. Returns the MiB that it took at most.
double runProgram(Words words) {
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        ::posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_WRONLY, 0);
    }
    pid_t process = -1;
    const int error =
        ::posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    rusage usage{};
    if (error != 0 || ::wait4(process, &status, 0, &usage) != process || status != 0) {
        throw std::runtime_error("cannot run " + words[0]);
    }
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

double runCommand(Words words) {
    words.insert(words.begin(), VESTA2_COMMAND);
    return runProgram(std::move(words));
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

/// A listing of all, beside the loop that opens each.
void commandReads(benchmark::State& state, const Words& words, double goal) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const Directory directory;
    bench::createResults(directory.path(), count);
    Words all = words;
    all.push_back(directory.path());
    double mib = 0;
    measure(
        state, count, [&] { mib = std::max(mib, runCommand(all)); },
        [&] {
            runEmpty();
            benchmark::DoNotOptimize(bench::listRaw(directory.path()));
        },
        goal);
    state.counters["mib"] = mib;
}

void commandList(benchmark::State& state) { commandReads(state, {"list"}, 1.9); }
void commandListJson(benchmark::State& state) { commandReads(state, {"--json", "list"}, 0); }
void commandPurgePlan(benchmark::State& state) {
    commandReads(state, {"purge", "--keep", "1", "--mask", "*", "--dry-run"}, 2.2);
}

/// Beside the program alone.
void commandCollect(benchmark::State& state) {
    const Directory directory;
    measure(
        state, 1,
        [&] {
            runCommand({"-C", directory.path(), "collect", "--name", "r@@@@@", "--", "true"});
        },
        [] { runProgram({"true"}); }, 0);
}

void style(benchmark::internal::Benchmark* benchmark) {
    benchmark->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(commandStart)->Apply(style);
BENCHMARK(commandCreate)->Apply(style)->Arg(1000);
BENCHMARK(commandList)->Apply(style)->Arg(10000);
BENCHMARK(commandListJson)->Apply(style)->Arg(10000)->Arg(100000)->Iterations(3);
BENCHMARK(commandPurgePlan)->Apply(style)->Arg(10000);
BENCHMARK(commandCollect)->Apply(style);

}  // namespace
