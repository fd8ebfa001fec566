#include "batch_copier.h"

#include <boost/system/system_error.hpp>
#include <utility>

#include "../foundation/log.h"

namespace vesta2 {

using basekit2::descriptor_t;

namespace {

/// So many names are listed before their files are copied.
constexpr std::size_t batchSize = 64;
/// Fewer files take less time than it takes to wake a thread for them.
constexpr std::size_t smallestBatch = 16;
/// A tree of fewer files is copied before a thread has started.
constexpr std::size_t smallTree = 64;

}  // namespace

void BatchCopier::goOnUnlessCancelled() const {
    if (m_files.isCancelled()) {
        throw CopyEnded();
    }
}

void BatchCopier::enter(SharedFlag isWhole) {
    m_names.clear();
    m_isWhole = std::move(isWhole);
    m_shared.reset();
}

void BatchCopier::add(std::string name) {
    m_names.push_back(std::move(name));
    if (m_names.size() == batchSize) {
        copyBatch(true);
    }
}

void BatchCopier::copyRest(bool canWait) {
    copyBatch(canWait);
    m_shared.reset();
}

void BatchCopier::copyBatch(bool canWait) {
    std::vector<std::string> names = std::exchange(m_names, {});
    m_fileCount += names.size();
    if (isForWorkers(names.size(), canWait)) {
        m_workers.give({m_shared, std::move(names), {}});
    } else if (*m_isWhole) {
        copyAll(m_source.view(), names, m_target.view());
    }
    while (std::optional<CopyBatch> batch = m_workers.next(CopyWorkers::Wait::no)) {
        settle(*batch);
    }
}

bool BatchCopier::isForWorkers(std::size_t count, bool canWait) {
    const bool pays = m_fileCount > smallTree && count >= smallestBatch && canWait;
    return pays && m_workers.wantMore() && share();
}

/// False when there are no descriptors left for it.
bool BatchCopier::share() {
    if (m_shared) {
        return true;
    }
    descriptor_t source = m_source.duplicate();
    descriptor_t target = m_target.duplicate();
    if (!source || !target) {
        return false;
    }
    m_shared = std::make_shared<CopiedDirectory>(CopiedDirectory{
        std::move(source), std::move(target), m_source.path(), m_target.path(), m_isWhole});
    return true;
}

void BatchCopier::finish() {
    while (std::optional<CopyBatch> batch = m_workers.next(CopyWorkers::Wait::yes)) {
        settle(*batch);
    }
}

/// Tells of what a worker has copied, and copies what it has left.
void BatchCopier::settle(const CopyBatch& batch) {
    const CopiedDirectory& directory = *batch.directory;
    for (const CopyBatch::Done& file : batch.done) {
        goOnUnlessCancelled();
        announce(directory.from(), file.name);
        if (m_progress && file.size) {
            m_progress->advance(*file.size);
        }
    }
    try {
        if (*directory.isWhole) {
            copyAll(directory.from(), batch.names, directory.to());
        }
    } catch (const boost::system::system_error& e) {
        failWith(e);
        *directory.isWhole = false;
    }
}

void BatchCopier::copyAll(const DirectoryView& from, const std::vector<std::string>& names,
                          const DirectoryView& to) {
    for (const std::string& name : names) {
        goOnUnlessCancelled();
        copy(from, name, to, name);
    }
}

bool BatchCopier::copy(const DirectoryView& from, const std::string& name, const DirectoryView& to,
                       const std::string& copiedName) {
    announce(from, name);
    const FileCopier::Copied copied = m_files.copy(from, name, to, copiedName);
    if (copied == FileCopier::Copied::cancelled) {
        throw CopyEnded();
    }
    return copied == FileCopier::Copied::whole;
}

void BatchCopier::announce(const DirectoryView& directory, const std::string& name) {
    if (m_progress) {
        m_progress->setCurrentItem(directory.pathOf(name.c_str()).c_str());
    }
}

}  // namespace vesta2
