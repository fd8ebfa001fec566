#pragma once

#include <memory>
#include <string>
#include <vector>

#include "copy_workers.h"
#include "directory_chain.h"
#include "file_copier.h"
#include "notify2/progress.h"

namespace vesta2 {

/// The end of a copy that has failed as a whole or is not wanted any more.
struct CopyEnded {};

/// Copies the plain files of a tree, those of many files by several threads. Calls `progress`, and
/// fails, on the thread that owns it.
class BatchCopier {
public:
    /// The chains lead to the directory whose files are added. `record`, which may be null, learns
    /// what was copied.
    BatchCopier(notify2::IProgress* progress, const DirectoryChain& source,
                const DirectoryChain& target, TreeRecord* record)
        : m_progress(progress),
          m_source(source),
          m_target(target),
          m_files(progress, record),
          m_workers(record) {}

    [[nodiscard]] bool isCancelled() const { return m_files.isCancelled(); }
    /// Throws `CopyEnded` when it is cancelled, as all below.
    void goOnUnlessCancelled() const;
    /// What is added from now on is of the directory that the chains lead to. A failure that comes
    /// later than the operations below end makes `isWhole` false, which ends the directory.
    void enter(SharedFlag isWhole);
    /// Takes the file `name` over, to be copied with others. Throws as `FileCopier::copy`, for
    /// whichever is.
    void add(std::string name);
    /// The directory has no more. It `canWait` for a worker when nothing is to follow at once.
    void copyRest(bool canWait);
    /// Waits for all that is on its way.
    void finish();

    /// Copies one file here and now; false when it was left out. Throws as `FileCopier::copy`.
    bool copy(const DirectoryView& from, const std::string& name, const DirectoryView& to,
              const std::string& copiedName);

private:
    void copyBatch(bool canWait);
    bool isForWorkers(std::size_t count, bool canWait);
    bool share();
    void settle(const CopyBatch& batch);
    void copyAll(const DirectoryView& from, const std::vector<std::string>& names,
                 const DirectoryView& to);
    void announce(const DirectoryView& directory, const std::string& name);

    notify2::IProgress* m_progress;
    const DirectoryChain& m_source;
    const DirectoryChain& m_target;
    FileCopier m_files;
    std::vector<std::string> m_names;                 ///< that were added, but not copied
    SharedFlag m_isWhole;                             ///< of the present directory
    std::shared_ptr<const CopiedDirectory> m_shared;  ///< the same, once a worker has files of it
    std::size_t m_fileCount = 0;
    CopyWorkers m_workers;
};

}  // namespace vesta2
