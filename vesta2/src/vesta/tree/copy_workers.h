#pragma once

#include <atomic>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "basekit2/descriptor.h"
#include "directory_chain.h"
#include "tree_record.h"

namespace vesta2 {

using SharedFlag = std::shared_ptr<std::atomic<bool>>;

/// A directory and its copy, open for as long as files of it are on their way.
struct CopiedDirectory {
    basekit2::descriptor_t source;
    basekit2::descriptor_t target;
    std::string sourcePath;
    std::string targetPath;
    SharedFlag isWhole;  ///< false when a step in it has failed

    [[nodiscard]] DirectoryView from() const { return {source.get(), sourcePath}; }
    [[nodiscard]] DirectoryView to() const { return {target.get(), targetPath}; }
};

/// Some files of one directory.
struct CopyBatch {
    struct Done {
        std::string name;
        std::optional<double> size;  ///< none when it was left out
    };

    std::shared_ptr<const CopiedDirectory> directory;
    std::vector<std::string> names;  ///< yet to be copied
    std::vector<Done> done;
};

/// Threads that copy small files beside the one that walks the tree and owns this, which is the
/// only one to call it. They decide nothing: a file that is large, or whose copy fails, comes back
/// for the owner to copy, so that whatever there is to tell is told on the owner's thread.
class CopyWorkers {
public:
    explicit CopyWorkers(TreeRecord* record) : m_record(record) {}
    /// What has not been begun is dropped.
    ~CopyWorkers();
    CopyWorkers(const CopyWorkers&) = delete;
    CopyWorkers& operator=(const CopyWorkers&) = delete;

    /// Whether one more batch would keep them busy: false when they have enough, or when this
    /// process has one processor only.
    [[nodiscard]] bool wantMore();
    /// Starts a thread for it if all are busy; without any, the batch waits for `next`.
    void give(CopyBatch batch);

    enum class Wait { no, yes };
    /// A batch that was dealt with, or, for who waits, one that was not begun. Nothing when there
    /// is none yet; for who waits, when none is on its way any more.
    std::optional<CopyBatch> next(Wait wait);

private:
    using Batches = std::list<CopyBatch>;

    void startThread();
    void work() noexcept;
    void copy(CopyBatch& batch, class SmallFileCopier& copier) const;

    TreeRecord* const m_record;
    std::size_t m_mostThreads = 0;
    bool m_isCounted = false;
    std::vector<std::thread> m_threads;

    std::mutex m_mutex;
    std::condition_variable m_hasWork;
    std::condition_variable m_hasDone;
    std::atomic<bool> m_isEnding = false;
    Batches m_waiting;
    Batches m_done;
    std::size_t m_running = 0;
};

}  // namespace vesta2
