// Processes that all create a result of one pattern in one directory, released at once: how often
// they try, and how long the slowest takes. Ranks that an MPI launcher starts do so.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "results.h"

namespace {

long s_tries = 0;

struct Outcome {
    long tries;
    double seconds;
};

class Pipe {
public:
    Pipe() {
        if (::pipe(m_ends.data()) != 0) {
            throw std::runtime_error("cannot make a pipe");
        }
    }
    [[nodiscard]] int out() const { return m_ends[0]; }
    void closeIn() const { ::close(m_ends[1]); }
    [[nodiscard]] int in() const { return m_ends[1]; }

private:
    std::array<int, 2> m_ends{};
};

/// What each process does: waits until all are there and nobody has `start` open to write.
int createOne(const std::string& directory, const Pipe& ready, const Pipe& start,
              const Pipe& outcomes) {
    start.closeIn();
    char ignored = 0;
    if (::write(ready.in(), &ignored, 1) != 1 || ::read(start.out(), &ignored, 1) != 0) {
        return 1;
    }
    const auto begin = std::chrono::steady_clock::now();
    bench::createResults(directory, 1);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    const Outcome outcome{s_tries, elapsed.count()};
    return ::write(outcomes.in(), &outcome, sizeof outcome) == sizeof outcome ? 0 : 1;
}

/// Throws when a process fails.
std::vector<Outcome> storm(const std::string& directory, std::size_t processes) {
    const Pipe ready;
    const Pipe start;
    const Pipe outcomes;
    for (std::size_t i = 0; i < processes; ++i) {
        const pid_t child = ::fork();
        if (child == 0) {
            int code = 1;
            try {
                code = createOne(directory, ready, start, outcomes);
            } catch (const std::exception& e) {
                std::fprintf(stderr, "storm: %s\n", e.what());
            }
            ::_exit(code);
        }
        if (child < 0) {
            throw std::runtime_error("cannot start a process");
        }
    }
    char ignored = 0;
    for (std::size_t i = 0; i < processes; ++i) {
        if (::read(ready.out(), &ignored, 1) != 1) {
            throw std::runtime_error("a process is not ready");
        }
    }
    start.closeIn();
    bool areGood = true;
    for (int status = 0; ::wait(&status) > 0;) {
        areGood = areGood && status == 0;
    }
    outcomes.closeIn();
    std::vector<Outcome> all;
    for (Outcome one{}; ::read(outcomes.out(), &one, sizeof one) == sizeof one;) {
        all.push_back(one);
    }
    if (!areGood || all.size() != processes) {
        throw std::runtime_error("a process has no result");
    }
    return all;
}

/// Throws unless the numbers are those from 0 on.
void checkNumbers(const std::string& directory, std::size_t count) {
    for (std::size_t i = 0; i <= count; ++i) {
        struct stat info {};
        const bool isThere = ::lstat(bench::resultPath(directory, i).c_str(), &info) == 0;
        if (isThere != (i < count)) {
            throw std::runtime_error("the numbers have a gap, or there are too many");
        }
    }
}

}  // namespace

/// The library's calls come here, since a program's own functions go before those of libraries.
extern "C" __attribute__((visibility("default"))) int mkdir(const char* path,
                                                            mode_t mode) noexcept {
    ++s_tries;
    return static_cast<int>(::syscall(SYS_mkdirat, AT_FDCWD, path, mode));
}

int main(int count, char** words) {
    if (count != 3) {
        std::fputs("Usage: storm DIRECTORY PROCESSES\n", stderr);
        return 2;
    }
    try {
        const auto processes = static_cast<std::size_t>(std::stoul(words[2]));
        std::vector<Outcome> all = storm(words[1], processes);
        checkNumbers(words[1], processes);
        long tries = 0;
        for (const Outcome& one : all) {
            tries += one.tries;
        }
        if (tries < static_cast<long>(processes)) {
            throw std::runtime_error("not every call is counted");
        }
        const auto faster = [](const Outcome& a, const Outcome& b) {
            return a.seconds < b.seconds;
        };
        std::sort(all.begin(), all.end(), faster);
        std::printf("%9zu %12ld %12.1f %12.1f %12.1f\n", processes, tries,
                    static_cast<double>(tries) / static_cast<double>(processes),
                    1e3 * all[processes / 2].seconds, 1e3 * all.back().seconds);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "storm: %s\n", e.what());
        return 1;
    }
    return 0;
}
