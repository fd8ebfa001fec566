#pragma once

#include <sys/stat.h>

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <vector>

#include "notify2/progress.h"

namespace vesta2 {

/// A directory, by its descriptor and by the path that messages name it with.
struct OpenPlace {
    int descriptor;
    const boost::filesystem::path& path;
};

/// Copies files one after the other, and remembers what the file systems cannot do.
class FileCopier {
public:
    /// `progress`, which may be null, learns of the bytes that are done.
    explicit FileCopier(notify2::IProgress* progress) : m_progress(progress) {}

    /// Copies the regular file `name` of one directory into another that has nothing of that name.
    /// False when it was cancelled. Throws `boost::filesystem::filesystem_error` when it fails. In
    /// both cases no part of a copy is left.
    bool copy(const OpenPlace& from, const OpenPlace& to, const char* name);

    [[nodiscard]] bool isCancelled() const { return m_progress && m_progress->isCancelled(); }

private:
    /// One copy on its way.
    struct Job {
        int source;
        int target;
        const struct stat& info;
        const boost::filesystem::path& sourcePath;
        const boost::filesystem::path& targetPath;
        std::uint64_t reported = 0;
    };

    bool copyContent(Job& job);
    bool copyAroundHoles(Job& job);
    bool copyRange(Job& job, std::uint64_t begin, std::uint64_t end);
    bool shareBlocks(const Job& job);
    /// Bytes copied from `at` on, at most `length`; 0 at the end of the source.
    std::uint64_t copyChunk(const Job& job, std::uint64_t at, std::uint64_t length);
    std::uint64_t copyThroughBuffer(const Job& job, std::uint64_t at, std::uint64_t length);
    void report(Job& job, std::uint64_t done);

    notify2::IProgress* m_progress;
    bool m_canShare = true;
    bool m_canCopyInKernel = true;
    std::vector<char> m_buffer;
};

}  // namespace vesta2
