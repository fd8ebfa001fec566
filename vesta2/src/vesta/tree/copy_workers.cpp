#include "copy_workers.h"

#include <sched.h>

#include <algorithm>
#include <csignal>
#include <system_error>

#include "file_copier.h"
#include "notify2/progress.h"

namespace vesta2 {

namespace {

constexpr std::size_t mostWorkers = 8;
/// One that is copied and one that waits, so that no thread runs dry while the owner is at work.
constexpr std::size_t batchesOfThread = 2;

/// Of those that this process may use: a container may have fewer than the machine.
std::size_t countProcessors() {
    cpu_set_t usable;
    const bool isKnown = ::sched_getaffinity(0, sizeof usable, &usable) == 0;
    return isKnown ? static_cast<std::size_t>(CPU_COUNT(&usable)) : 1;
}

/// A thread that is started meanwhile gets no signals: an application's handlers run on its own.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t m_before{};
};

}  // namespace

/// Copies what takes one step: its owner asks between steps whether to go on.
class SmallFileCopier : notify2::IProgress {
public:
    explicit SmallFileCopier(TreeRecord* record) : m_files(this, record, FileCopier::smallFile) {}

    /// Adds what was copied to `done`; false for a file that is not for a worker.
    bool copy(const CopiedDirectory& directory, std::string& name,
              std::vector<CopyBatch::Done>& done) {
        m_size.reset();
        const auto copied = m_files.copy(directory.from(), name, directory.to(), name);
        const bool isDone =
            copied == FileCopier::Copied::whole || copied == FileCopier::Copied::leftOut;
        if (isDone) {
            done.push_back({std::move(name), m_size});
        }
        return isDone;
    }

private:
    void start(const char* /*message*/, double /*total*/) override {}
    void advance(double amount) override { m_size = amount; }
    void setCurrentItem(const char* /*path*/) override {}
    void finish() override {}
    bool isCancelled() override { return true; }

    FileCopier m_files;
    std::optional<double> m_size;
};

CopyWorkers::~CopyWorkers() {
    {
        const std::lock_guard guard(m_mutex);
        m_isEnding = true;
    }
    m_hasWork.notify_all();
    for (std::thread& thread : m_threads) {
        thread.join();
    }
}

bool CopyWorkers::wantMore() {
    if (!m_isCounted) {
        m_mostThreads = std::min(countProcessors(), mostWorkers) - 1;
        m_isCounted = true;
    }
    const std::lock_guard guard(m_mutex);
    return m_waiting.size() + m_running < batchesOfThread * m_mostThreads;
}

void CopyWorkers::give(CopyBatch batch) {
    bool areBusy = false;
    {
        const std::lock_guard guard(m_mutex);
        m_waiting.push_back(std::move(batch));
        areBusy = m_waiting.size() + m_running > m_threads.size();
    }
    if (areBusy && m_threads.size() < m_mostThreads) {
        startThread();
    }
    m_hasWork.notify_one();
}

void CopyWorkers::startThread() {
    const SignalsBlocked blocked;
    m_threads.reserve(m_mostThreads);
    try {
        m_threads.emplace_back([this] { work(); });
    } catch (const std::system_error&) {
        m_mostThreads = m_threads.size();
    }
}

std::optional<CopyBatch> CopyWorkers::next(Wait wait) {
    std::unique_lock lock(m_mutex);
    if (wait == Wait::yes) {
        m_hasDone.wait(lock,
                       [this] { return !m_done.empty() || !m_waiting.empty() || m_running == 0; });
    }
    Batches& from = m_done.empty() && wait == Wait::yes ? m_waiting : m_done;
    if (from.empty()) {
        return std::nullopt;
    }
    std::optional<CopyBatch> batch(std::move(from.front()));
    from.pop_front();
    return batch;
}

void CopyWorkers::work() noexcept {
    SmallFileCopier copier(m_record);
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_hasWork.wait(lock, [this] { return m_isEnding || !m_waiting.empty(); });
        if (m_isEnding) {
            return;
        }
        // Moved as a whole, which needs no memory.
        Batches own;
        own.splice(own.begin(), m_waiting, m_waiting.begin());
        ++m_running;
        lock.unlock();
        copy(own.front(), copier);
        lock.lock();
        --m_running;
        m_done.splice(m_done.end(), own);
        m_hasDone.notify_one();
    }
}

void CopyWorkers::copy(CopyBatch& batch, SmallFileCopier& copier) const {
    std::vector<std::string>& names = batch.names;
    std::size_t at = 0;
    std::size_t left = 0;
    try {
        batch.done.reserve(names.size());
        for (; at < names.size() && !m_isEnding && *batch.directory->isWhole; ++at) {
            if (!copier.copy(*batch.directory, names[at], batch.done)) {
                std::swap(names[left++], names[at]);
            }
        }
    } catch (const std::exception&) {
        // The owner comes upon the same, and can tell.
    }
    using Distance = std::vector<std::string>::difference_type;
    names.erase(names.begin() + static_cast<Distance>(left),
                names.begin() + static_cast<Distance>(at));
}

}  // namespace vesta2
