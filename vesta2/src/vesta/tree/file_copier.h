#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "directory_chain.h"
#include "notify2/progress.h"
#include "tree_record.h"

namespace vesta2 {

/// Copies files one after the other, and remembers what the file systems cannot do. For one thread.
class FileCopier {
public:
    static constexpr std::uint64_t anySize = std::numeric_limits<std::uint64_t>::max();
    /// Up to here one read and one write cost less than asking the kernel for anything cleverer.
    static constexpr std::uint64_t smallFile = std::uint64_t{64} * 1024;

    /// `progress`, which may be null, learns of the bytes that are done, and `record`, which may be
    /// null, of what was copied. Copies files of at most `largest` bytes.
    FileCopier(notify2::IProgress* progress, TreeRecord* record, std::uint64_t largest = anySize)
        : m_progress(progress), m_record(record), m_largest(largest) {}

    enum class Copied { whole, leftOut, tooLarge, cancelled };

    /// Copies the regular file `name` of one directory into another under `copiedName`, which
    /// nothing there may have. `leftOut`: it is no regular file any more, or one that this process
    /// has locked for a flag.
    /// Throws `boost::filesystem::filesystem_error` when it fails. No part of a copy is left.
    Copied copy(const DirectoryView& from, const std::string& name, const DirectoryView& to,
                const std::string& copiedName);

    [[nodiscard]] bool isCancelled() const { return m_progress && m_progress->isCancelled(); }

private:
    /// What is copied whereto: for messages, so that no path is built for a file that has none.
    struct Names {
        const DirectoryView& from;
        const std::string& name;
        const DirectoryView& to;
        const std::string& copiedName;

        [[noreturn]] void failAtSource(const char* what) const;
        [[noreturn]] void failAtTarget(const char* what) const;
    };
    /// One copy on its way.
    struct Job {
        int source;
        int target;
        const struct stat& info;
        const Names& names;
        std::uint64_t reported = 0;
    };

    bool copyContent(Job& job);
    bool copyAroundHoles(Job& job);
    bool copyRange(Job& job, std::uint64_t begin, std::uint64_t end);
    bool shareBlocks(const Job& job);
    /// Bytes copied from `at` on, at most `length`; 0 at the end of the source.
    std::uint64_t copyChunk(const Job& job, std::uint64_t at, std::uint64_t length);
    std::uint64_t copyThroughBuffer(const Job& job, std::uint64_t at, std::uint64_t length);
    void reportPart(Job& job, std::uint64_t done);
    void reportWhole(const Job& job);

    notify2::IProgress* m_progress;
    TreeRecord* m_record;
    std::uint64_t m_largest;
    bool m_canShare = true;
    bool m_canCopyInKernel = true;
    std::vector<char> m_buffer;
};

}  // namespace vesta2
