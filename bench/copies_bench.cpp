// Copies of trees, claims and sizes, in turn with the raw system calls, and copies with the
// commands that do the same: "cp" and "rsync" are the commands' time over the raw calls'.

#include <sched.h>

#include <array>
#include <fstream>

#include "measure.h"
#include "raw_calls.h"
#include "run_program.h"
#include "vesta2/vesta2.h"

namespace {

namespace fs = boost::filesystem;
using bench::Directory;
using bench::measure;
using bench::style;
using bench::timed;

/// A tree of `count` files of `size` bytes, a hundred in a directory.
void makeTree(const std::string& directory, std::size_t count, std::size_t size) {
    const std::string content(size, 'x');
    for (std::size_t i = 0; i < count; ++i) {
        const std::string place = directory + "/" + std::to_string(i / 100);
        fs::create_directories(place);
        std::ofstream(place + "/" + std::to_string(i)) << content;
    }
}

/// A command that does the same, which costs about a millisecond to start. Nothing without it.
class Rival {
public:
    Rival(const char* name, std::vector<std::string> command)
        : m_name(name), m_command(std::move(command)), m_isInstalled(isInstalled(name)) {}

    void run(double raw) {
        if (m_isInstalled) {
            m_ratios.push_back(timed([this] { bench::runProgram(m_command); }) / raw);
        }
    }
    void report(benchmark::State& state) const {
        if (m_isInstalled) {
            state.counters[m_name] = bench::median(m_ratios);
        }
    }

private:
    static bool isInstalled(const std::string& program) {
        return std::system(("command -v " + program + " >/dev/null").c_str()) == 0;
    }

    const char* m_name;
    std::vector<std::string> m_command;
    bool m_isInstalled;
    std::vector<double> m_ratios;
};

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

/// What `work` takes until the copy `to` is there, which is deleted then.
template <class Work>
double timedCopy(const std::string& to, const Work& work) {
    const double elapsed = timed(work);
    fs::remove_all(to);
    return elapsed;
}

/// By one worker.
void copyTree(benchmark::State& state) {
    const Directory directory;
    const std::string from = directory.path() + "/from";
    const std::string to = directory.path() + "/to";
    const auto count = static_cast<std::size_t>(state.range(0));
    makeTree(from, count, static_cast<std::size_t>(state.range(1)));
    std::array rivals{Rival("cp", {"cp", "-a", from, to}),
                      Rival("rsync", {"rsync", "-a", from + "/", to})};
    bench::measurePairs(state, count, 1.0, [&] {
        const double library = timedCopy(to, [&] {
            const OneProcessor one;
            bench::copyTree(from, to);
        });
        const double raw = timedCopy(to, [&] { bench::copyRaw(from, to); });
        for (Rival& rival : rivals) {
            timedCopy(to, [&] { rival.run(raw); });
        }
        return bench::Pair{library, raw};
    });
    for (const Rival& rival : rivals) {
        rival.report(state);
    }
}

/// By as many workers as there are processors; what stands for the raw calls is the same by one.
void copyByWorkers(benchmark::State& state) {
    const Directory directory;
    const std::string from = directory.path() + "/from";
    const std::string to = directory.path() + "/to";
    const auto count = static_cast<std::size_t>(state.range(0));
    makeTree(from, count, 4096);
    bench::measurePairs(state, count, 0.65, [&] {
        const double several = timedCopy(to, [&] { bench::copyTree(from, to); });
        const double single = timedCopy(to, [&] {
            const OneProcessor one;
            bench::copyTree(from, to);
        });
        return bench::Pair{several, single};
    });
}

void size(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const Directory directory;
    makeTree(directory.path(), count, 100);
    measure(
        state, count, [&] { benchmark::DoNotOptimize(bench::sizeOf(directory.path())); },
        [&] { benchmark::DoNotOptimize(bench::sizeRaw(directory.path())); }, 1.0);
}

/// The ratio is of a program that asks for the size to the command that is there for it.
void sizeByProgram(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const Directory directory;
    makeTree(directory.path(), count, 100);
    measure(
        state, count,
        [&] {
            bench::runProgram({COUNTED_WORK, "size", "1", directory.path()});
        },
        [&] {
            bench::runProgram({"du", "-s", directory.path()});
        },
        1.0);
}

void claim(benchmark::State& state) {
    constexpr std::size_t claims = 100;
    const Directory directory;
    bench::createResults(directory.path(), 1);
    const std::string path = bench::resultPath(directory.path(), 0);
    const bench::Result result = bench::openResult(path);
    const std::string record(340, 'x');
    measure(
        state, claims, [&] { bench::claimFlag(result, claims); },
        [&] {
            for (std::size_t i = 0; i < claims; ++i) {
                bench::claimRaw(path + "/raw", record);
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

BENCHMARK(copyTree)->Apply(style)->Args({10000, 4096})->Args({20, 50'000'000});
BENCHMARK(copyByWorkers)->Apply(style)->Arg(10000);
BENCHMARK(size)->Apply(style)->Arg(10000);
BENCHMARK(sizeByProgram)->Apply(style)->Arg(10000);
BENCHMARK(claim)->Apply(style);
BENCHMARK(look)->Apply(style);

}  // namespace
