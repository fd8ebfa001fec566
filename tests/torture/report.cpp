#include <cstring>
#include <iostream>
#include <sstream>

#include "support/child_process.h"
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

void Report::blame(const std::string& what) {
    ++m_shared->wrong;
    std::cout << what + "\n" << std::flush;
}

std::string Report::text() const {
    std::ostringstream line;
    for (const Counter& counter : m_shared->counters) {
        if (const char* const name = counter.name) {
            line << counter.value << ' ' << name << ", ";
        }
    }
    line << wrong() << " wrong";
    return line.str();
}

void inProcesses(std::size_t count, const std::function<void(std::size_t)>& work) {
    std::vector<support::ChildProcess> children;
    for (std::size_t i = 0; i < count; ++i) {
        children.emplace_back([&, i] {
            try {
                work(i);
                return 0;
            } catch (const Unavailable& reason) {
                std::cout << reason.what() << std::endl;
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

}  // namespace torture
