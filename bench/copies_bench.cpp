// Copies of trees, claims and sizes, in turn with the raw system calls, and where there is a
// command that does the same, with that: "ratio" is the library's time over the raw calls', "cp",
// "rsync" and "du" the commands' time over the raw calls'.

#include <sched.h>

#include <array>
#include <fstream>

#include "measure.h"
#include "raw_calls.h"
#include "vesta2/vesta2.h"

namespace {

namespace fs = boost::filesystem;
using bench::Directory;
using bench::measure;
using bench::timed;
using vesta2::ResultDirectoryManager;

/// A tree of `count` files of `size` bytes, a hundred in a directory.
void makeTree(const std::string& directory, std::size_t count, std::size_t size) {
    const std::string content(size, 'x');
    for (std::size_t i = 0; i < count; ++i) {
        const std::string place = directory + "/" + std::to_string(i / 100);
        fs::create_directories(place);
        std::ofstream(place + "/" + std::to_string(i)) << content;
    }
}

bool isInstalled(const std::string& program) {
    return std::system(("command -v " + program + " >/dev/null").c_str()) == 0;
}

/// Of a command that is started for it, which costs about a millisecond. Nothing without it.
class Rival {
public:
    Rival(const char* name, std::string command)
        : m_name(name), m_command(std::move(command)), m_isInstalled(isInstalled(name)) {}

    void run() {
        if (m_isInstalled) {
            m_sum += timed([this] {
                if (std::system(m_command.c_str()) != 0) {
                    throw std::runtime_error(m_command);
                }
            });
        }
    }
    void report(benchmark::State& state, double rawSum) const {
        if (m_isInstalled) {
            state.counters[m_name] = m_sum / rawSum;
        }
    }

private:
    const char* m_name;
    std::string m_command;
    bool m_isInstalled;
    double m_sum = 0;
};

/// Times `library`, `raw` and the commands in turn; `clear` undoes each.
template <class Library, class Raw, class Clear>
void compare(benchmark::State& state, const Library& library, const Raw& raw,
             std::vector<Rival> rivals, const Clear& clear) {
    double rawSum = 0;
    double librarySum = 0;
    for ([[maybe_unused]] auto _ : state) {
        const double elapsed = timed(library);
        clear();
        rawSum += timed(raw);
        clear();
        for (Rival& rival : rivals) {
            rival.run();
            clear();
        }
        librarySum += elapsed;
        state.SetIterationTime(elapsed);
    }
    state.counters["raw_ms"] = 1e3 * rawSum / static_cast<double>(state.iterations());
    state.counters["ratio"] = librarySum / rawSum;
    for (const Rival& rival : rivals) {
        rival.report(state, rawSum);
    }
}

void copyTree(benchmark::State& state) {
    const Directory directory;
    const std::string from = directory.path() + "/from";
    const std::string to = directory.path() + "/to";
    makeTree(from, static_cast<std::size_t>(state.range(0)),
             static_cast<std::size_t>(state.range(1)));
    compare(
        state,
        [&] {
            fs::create_directory(to);
            vesta2::copyWithExcludingFlags(from, to);
        },
        [&] { bench::copyRaw(from, to); },
        {{"cp", "cp -a " + from + " " + to}, {"rsync", "rsync -a " + from + "/ " + to}},
        [&] { fs::remove_all(to); });
}

/// Runs on one processor while it lives.
class OneProcessor {
public:
    OneProcessor() {
        ::sched_getaffinity(0, sizeof m_before, &m_before);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(::sched_getcpu(), &one);
        ::sched_setaffinity(0, sizeof one, &one);
    }
    ~OneProcessor() { ::sched_setaffinity(0, sizeof m_before, &m_before); }
    OneProcessor(const OneProcessor&) = delete;
    OneProcessor& operator=(const OneProcessor&) = delete;

private:
    cpu_set_t m_before{};
};

/// By as many workers as there are processors; what stands for the raw calls is the same by one.
void copyByWorkers(benchmark::State& state) {
    const Directory directory;
    const std::string from = directory.path() + "/from";
    const std::string to = directory.path() + "/to";
    makeTree(from, static_cast<std::size_t>(state.range(0)), 4096);
    const auto copy = [&] {
        fs::create_directory(to);
        vesta2::copyWithExcludingFlags(from, to);
    };
    compare(
        state, copy,
        [&] {
            const OneProcessor one;
            copy();
        },
        {}, [&] { fs::remove_all(to); });
}

void size(benchmark::State& state) {
    const Directory directory;
    makeTree(directory.path(), static_cast<std::size_t>(state.range(0)), 100);
    compare(
        state, [&] { benchmark::DoNotOptimize(vesta2::calcDirectoryFilesSize(directory.path())); },
        [&] { benchmark::DoNotOptimize(bench::sizeRaw(directory.path())); },
        {{"du", "du -s --apparent-size " + directory.path() + " >/dev/null"}}, [] {});
}

void claim(benchmark::State& state) {
    constexpr std::size_t claims = 1000;
    const Directory directory;
    const auto result = ResultDirectoryManager::create((directory.path() + "/r").c_str(), false,
                                                       nullptr, true, nullptr);
    const std::string record(340, 'x');
    measure(
        state, claims,
        [&] {
            for (std::size_t i = 0; i < claims; ++i) {
                result->setFlag("busy");
                result->clearFlag("busy", false);
            }
        },
        [&] {
            for (std::size_t i = 0; i < claims; ++i) {
                bench::claimRaw(directory.path() + "/r/raw", record);
            }
        },
        1.15);
}

void look(benchmark::State& state) {
    constexpr std::size_t looks = 1000;
    const Directory directory;
    measure(
        state, looks,
        [&] {
            for (std::size_t i = 0; i < looks; ++i) {
                vesta2::util::lookAtFlag(directory.path(), "collecting");
            }
        },
        [&] {
            const std::string path = directory.path() + "/collecting.dflgzentor";
            for (std::size_t i = 0; i < looks; ++i) {
                benchmark::DoNotOptimize(fs::exists(path));
            }
        },
        0);
}

void style(benchmark::internal::Benchmark* benchmark) {
    benchmark->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(copyTree)->Apply(style)->Args({10000, 4096})->Args({20, 50'000'000});
BENCHMARK(copyByWorkers)->Apply(style)->Arg(10000);
BENCHMARK(size)->Apply(style)->Arg(10000);
BENCHMARK(claim)->Apply(style);
BENCHMARK(look)->Apply(style);

}  // namespace
