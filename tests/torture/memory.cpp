/// The n-th allocation of an operation fails, for every n, once and from then on. Nothing may be
/// lost, nothing of the process but memory may be missing afterwards, and it works again.

#include <dlfcn.h>
#include <malloc.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <new>

#include "operations.h"
#include "support/child_process.h"
#include "support/temp_directory.h"
#include "trial.h"

namespace torture {
namespace {

/// Those that are left until one fails; negative when none does.
std::atomic<long> allocationsLeft{-1};
bool isLasting = false;

[[maybe_unused]] bool isRefused() {
    if (allocationsLeft < 0 || allocationsLeft-- > 0) {
        return false;
    }
    allocationsLeft = isLasting ? 0 : -1;
    errno = ENOMEM;
    return true;
}

}  // namespace
}  // namespace torture

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define VESTA2_REFUSES_MEMORY
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* old, size_t size);

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
void* malloc(size_t size) { return torture::isRefused() ? nullptr : __libc_malloc(size); }
void* calloc(size_t count, size_t size) {
    return torture::isRefused() ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* old, size_t size) {
    return torture::isRefused() ? nullptr : __libc_realloc(old, size);
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
}
#endif

namespace torture {
namespace {

std::size_t openDescriptors() {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                      std::filesystem::directory_iterator()));
}

/// In a process of its own. Returns whether there was such an allocation.
class Attempt {
public:
    Attempt(Run& run, const Operation& operation, long number, bool isLast)
        : m_run(run), m_operation(operation), m_number(number), m_isLasting(isLast) {}

    int run() {
        const support::TempDirectory directory;
        std::filesystem::current_path(directory.path().native());
        makeTree();
        m_operation.act();  // what is made but once is there
        const std::size_t descriptors = openDescriptors();
        isLasting = m_isLasting;
        allocationsLeft = m_number;
        try {
            m_operation.act();
        } catch (const std::exception&) {
            ++m_run.report["exceptions"];
        }
        const bool wasRefused = isLasting ? allocationsLeft == 0 : allocationsLeft < 0;
        allocationsLeft = -1;
        for (const std::string& what : examineTree()) {
            // To delete it takes memory; what it is can be told by its name.
            if (!isLasting || !what.starts_with("left: ")) {
                blame(what);
            }
        }
        if (openDescriptors() != descriptors) {
            blame("descriptors are left open");
        }
        // What it made so far is in its way.
        for (const auto& entry : std::filesystem::directory_iterator(".")) {
            std::filesystem::remove_all(entry);
        }
        makeTree();
        try {
            if (!m_operation.act()) {
                blame("does not work any more");
            }
        } catch (const std::exception& error) {
            blame(std::string("does not work any more: ") + error.what());
        }
        std::filesystem::current_path("/");
        return wasRefused ? 1 : 0;
    }

private:
    void blame(const std::string& what) {
        m_run.report.blame(std::string(m_operation.name) + ": " + what + " (allocation " +
                           std::to_string(m_number) +
                           (m_isLasting ? " and all that follow)" : ")"));
    }

    Run& m_run;
    const Operation& m_operation;
    const long m_number;
    const bool m_isLasting;
};

}  // namespace

void failAllocations(Run& run) {
#ifndef VESTA2_REFUSES_MEMORY
    throw Unavailable("a sanitizer allocates itself");
#endif
    const long step = run.options.isWhole ? 1 : 40;
    for (const Operation& operation : operations()) {
        for (const bool isLast : {false, true}) {
            int code = 1;
            for (long i = run.below(static_cast<std::size_t>(step)); code == 1 && !run.isOver();
                 i += step) {
                code = support::ChildProcess([&] {
                           return Attempt(run, operation, i, isLast).run();
                       }).wait(std::chrono::seconds(30));
                ++run.report["refusals"];
                if (code != 0 && code != 1) {
                    run.report.blame(std::string(operation.name) + ": ends with " +
                                     std::to_string(code) + ", allocation " + std::to_string(i) +
                                     (isLast ? " and all that follow" : ""));
                    code = 1;
                }
            }
        }
    }
}

/// Again and again: what a process has open and allocated stays as it is.
void repeatOperations(Run& run) {
    const long rounds = run.options.isWhole ? 100'000 : 500;
    const support::TempDirectory directory;
    std::filesystem::current_path(directory.path().native());
    makeTree();
    for (const Operation& operation : operations()) {
        std::size_t descriptors = 0;
        std::size_t bytes = 0;
        for (long i = -rounds / 10; i < rounds && !run.isOver(); ++i) {
            if (i == 0) {
                descriptors = openDescriptors();
                bytes = ::mallinfo2().uordblks;
            }
            if (!operation.act()) {
                run.report.blame(std::string(operation.name) + " fails");
                break;
            }
            ++run.report["operations"];
        }
        constexpr std::size_t someBytes = 16 << 10;
        if (descriptors > 0 && openDescriptors() > descriptors) {
            run.report.blame(std::string(operation.name) + ": descriptors are left open");
        } else if (descriptors > 0 && ::mallinfo2().uordblks > bytes + someBytes) {
            run.report.blame(std::string(operation.name) + ": memory is left, " +
                             std::to_string(::mallinfo2().uordblks - bytes) + " bytes");
        }
    }
    std::filesystem::current_path("/");
}

}  // namespace torture
