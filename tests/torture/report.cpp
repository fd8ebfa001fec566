#include <algorithm>
#include <cstring>

#include "trial.h"

namespace torture {

std::atomic<long>& Report::operator[](const char* name) {
    for (Counter& counter : m_shared->counters) {
        const char* found = nullptr;
        if (counter.name.compare_exchange_strong(found, name) || std::strcmp(found, name) == 0) {
            return counter.value;
        }
    }
    throw std::length_error("too many counters");
}

std::string Report::text() const {
    std::string line;
    for (const Counter& counter : m_shared->counters) {
        line +=
            counter.name ? fmt::format("{} {}, ", counter.value.load(), counter.name.load()) : "";
    }
    return line + std::to_string(wrong()) + " wrong";
}

void inProcesses(std::size_t count, const std::function<void(std::size_t)>& work) {
    std::vector<support::ChildProcess> children;
    for (std::size_t i = 0; i < count; ++i) {
        children.emplace_back([&, i] {
            try {
                work(i);
                return 0;
            } catch (const Unavailable& reason) {
                fmt::print("{}\n", reason.what());
                return exitSkipped;
            }
        });
    }
    for (support::ChildProcess& child : children) {
        const int code = child.wait(std::chrono::hours(24));
        if (code == exitSkipped) {
            throw Unavailable("in a process of its own");
        }
        if (code != 0) {
            throw std::runtime_error("a process ends with " + std::to_string(code));
        }
    }
}

void crowd(Run& run, std::size_t count, Clock::time_point until, std::size_t pause,
           const std::function<support::ChildProcess(std::size_t)>& start) {
    std::vector<support::ChildProcess> children;
    const auto expectEnd = [&](support::ChildProcess& child) {
        if (const int code = child.wait(); code != 0) {
            run.report.blame("a process ends with {}", code);
        }
    };
    for (std::size_t i = 0; i < count; ++i) {
        children.push_back(start(i));
    }
    while (Clock::now() < until) {
        ::usleep(run.below(pause));
        for (std::size_t i = 0; i < count; ++i) {
            if (!children[i].isRunning()) {
                expectEnd(children[i]);
                ++run.report["kills"];
                children[i] = start(i);
            }
        }
    }
    std::ranges::for_each(children, expectEnd);
}

}  // namespace torture
