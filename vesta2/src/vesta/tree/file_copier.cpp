#include "file_copier.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "../discovery/extensions.h"
#include "../foundation/locked_files.h"
#include "basekit2/descriptor.h"
#include "basekit2/file_error.h"
#include "vesta2/names.h"

namespace vesta2 {

using basekit2::descriptor_t;

namespace {

/// Between two looks at whether to go on.
constexpr std::uint64_t chunkSize = std::uint64_t{8} * 1024 * 1024;
constexpr std::size_t bufferSize = std::size_t{256} * 1024;
constexpr std::uint64_t toTheEnd = FileCopier::anySize;
constexpr unsigned blockSize = 512;  ///< the unit of `st_blocks`, whatever the file system's is

/// What a kernel or a file system answers that cannot do it in this place, but would copy plainly.
bool isRefusal(int error) {
    constexpr std::array refusals{EXDEV, EINVAL, ENOSYS, EOPNOTSUPP, ENOTTY, ETXTBSY, EPERM};
    return std::find(refusals.begin(), refusals.end(), error) != refusals.end();
}

/// Deletes a file that was begun, unless it was completed.
class UnfinishedFile {
public:
    UnfinishedFile(int directory, const char* name) : m_directory(directory), m_name(name) {}
    ~UnfinishedFile() {
        if (m_name) {
            ::unlinkat(m_directory, m_name, 0);
        }
    }
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;

    void keep() { m_name = nullptr; }

private:
    int m_directory;
    const char* m_name;
};

/// A file that is read. It may belong to a flag, and another thread may lock it at any moment: it
/// is closed so that no lock of this process is lost by it.
class SourceFile {
public:
    SourceFile(int directory, const char* name)
        : m_descriptor(::openat(directory, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)) {
        m_isOpen = m_descriptor >= 0 && ::fstat(m_descriptor, &m_info) == 0;
    }
    ~SourceFile() {
        if (m_descriptor >= 0) {
            closeBesideLocks(m_descriptor);
        }
    }
    SourceFile(const SourceFile&) = delete;
    SourceFile& operator=(const SourceFile&) = delete;

    [[nodiscard]] bool isOpen() const { return m_isOpen; }
    [[nodiscard]] int descriptor() const { return m_descriptor; }
    [[nodiscard]] const struct stat& info() const { return m_info; }

private:
    int m_descriptor;
    bool m_isOpen;
    struct stat m_info {};
};

/// Whether this process has the file locked. None that it has is called otherwise.
bool isOwnFlagFile(int directory, const std::string& name) {
    const std::string_view extension = extensionOf(name);
    if (extension != getFlagLockExtension() && extension != getFlagInfoExtension()) {
        return false;
    }
    struct stat info {};
    return ::fstatat(directory, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 &&
           isLockedByThisProcess(info.st_dev, info.st_ino);
}

}  // namespace

void FileCopier::Names::failAtSource(const char* what) const {
    basekit2::throw_file_error(what, from.pathOf(name.c_str()));
}

void FileCopier::Names::failAtTarget(const char* what) const {
    basekit2::throw_file_error(what, to.pathOf(copiedName.c_str()));
}

FileCopier::Copied FileCopier::copy(const DirectoryView& from, const std::string& name,
                                    const DirectoryView& to, const std::string& copiedName) {
    const Names names{from, name, to, copiedName};
    if (isOwnFlagFile(from.descriptor, name)) {
        return Copied::leftOut;
    }
    const SourceFile source(from.descriptor, name.c_str());
    if (!source.isOpen()) {
        names.failAtSource("cannot read");
    }
    const struct stat& info = source.info();
    if (!S_ISREG(info.st_mode)) {
        return Copied::leftOut;
    }
    if (static_cast<std::uint64_t>(info.st_size) > m_largest) {
        return Copied::tooLarge;
    }
    // Private until the copy gets the permissions of the source.
    descriptor_t target(::openat(to.descriptor, copiedName.c_str(),
                                 O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                 S_IRUSR | S_IWUSR));
    if (!target) {
        names.failAtTarget("cannot make");
    }
    UnfinishedFile unfinished(to.descriptor, copiedName.c_str());
    Job job{source.descriptor(), target.get(), info, names};
    if (!copyContent(job)) {
        return Copied::cancelled;
    }
    constexpr mode_t permissions = S_IRWXU | S_IRWXG | S_IRWXO;
    const std::array times{info.st_atim, info.st_mtim};
    // Not every file system has permissions and times of its own; the content is what counts.
    const bool isMarked =
        (::fchmod(target.get(), info.st_mode & permissions) == 0 || isRefusal(errno)) &&
        (::futimens(target.get(), times.data()) == 0 || isRefusal(errno));
    if (!isMarked || !target.close()) {
        names.failAtTarget("cannot write");
    }
    if (m_record) {
        m_record->addFile(info);
    }
    unfinished.keep();
    reportWhole(job);
    return Copied::whole;
}

bool FileCopier::copyContent(Job& job) {
    const auto size = static_cast<std::uint64_t>(job.info.st_size);
    if (size > smallFile && shareBlocks(job)) {
        return true;
    }
    const auto stored = static_cast<std::uint64_t>(job.info.st_blocks) * blockSize;
    return stored < size ? copyAroundHoles(job) : copyRange(job, 0, toTheEnd);
}

bool FileCopier::copyAroundHoles(Job& job) {
    off_t at = 0;
    for (;;) {
        if (at > 0 && isCancelled()) {
            return false;
        }
        const off_t begin = ::lseek(job.source, at, SEEK_DATA);
        if (begin < 0 && errno == ENXIO) {
            break;
        }
        if (begin < 0) {
            // This file system does not tell where its holes are.
            return copyRange(job, static_cast<std::uint64_t>(at), toTheEnd);
        }
        const off_t end = ::lseek(job.source, begin, SEEK_HOLE);
        if (end < 0) {
            job.names.failAtSource("cannot read");
        }
        if (!copyRange(job, static_cast<std::uint64_t>(begin), static_cast<std::uint64_t>(end))) {
            return false;
        }
        at = end;
    }
    if (::ftruncate(job.target, std::max(at, job.info.st_size)) != 0) {
        job.names.failAtTarget("cannot write");
    }
    return true;
}

bool FileCopier::copyRange(Job& job, std::uint64_t begin, std::uint64_t end) {
    const auto size = static_cast<std::uint64_t>(job.info.st_size);
    std::uint64_t at = begin;
    // What has come to the size that it had is complete; a size of 0 may be that of a file that is
    // made while it is read.
    while (at < end && (at != size || size == 0)) {
        if (at != begin && isCancelled()) {
            return false;
        }
        const std::uint64_t copied = copyChunk(job, at, std::min(end - at, chunkSize));
        if (copied == 0) {
            break;
        }
        at += copied;
        reportPart(job, std::min(at, size));
    }
    return true;
}

bool FileCopier::shareBlocks(const Job& job) {
    if (!m_canShare) {
        return false;
    }
    m_canShare = ::ioctl(job.target, FICLONE, job.source) == 0;
    return m_canShare;
}

std::uint64_t FileCopier::copyChunk(const Job& job, std::uint64_t at, std::uint64_t length) {
    if (m_canCopyInKernel && static_cast<std::uint64_t>(job.info.st_size) > smallFile) {
        auto from = static_cast<off_t>(at);
        auto to = static_cast<off_t>(at);
        const ssize_t copied = ::copy_file_range(job.source, &from, job.target, &to, length, 0);
        if (copied > 0) {
            return static_cast<std::uint64_t>(copied);
        }
        if (copied < 0 && !isRefusal(errno) && errno != EINTR) {
            job.names.failAtTarget("cannot copy");
        }
        // Nothing was copied: the end, a refusal, or a file system that gets it wrong.
        m_canCopyInKernel = copied == 0 || errno == EINTR;
    }
    return copyThroughBuffer(job, at, length);
}

std::uint64_t FileCopier::copyThroughBuffer(const Job& job, std::uint64_t at,
                                            std::uint64_t length) {
    m_buffer.resize(bufferSize);
    const std::size_t wanted = std::min<std::uint64_t>(length, m_buffer.size());
    ssize_t got = 0;
    do {
        got = ::pread(job.source, m_buffer.data(), wanted, static_cast<off_t>(at));
    } while (got < 0 && errno == EINTR);
    if (got < 0) {
        job.names.failAtSource("cannot read");
    }
    for (ssize_t written = 0; written < got;) {
        const ssize_t n =
            ::pwrite(job.target, m_buffer.data() + written, static_cast<std::size_t>(got - written),
                     static_cast<off_t>(at) + written);
        if (n < 0 && errno != EINTR) {
            job.names.failAtTarget("cannot write");
        }
        written += std::max<ssize_t>(n, 0);
    }
    return static_cast<std::uint64_t>(got);
}

/// What takes a while is told in steps; other files are told once.
void FileCopier::reportPart(Job& job, std::uint64_t done) {
    if (m_progress && static_cast<std::uint64_t>(job.info.st_size) > chunkSize &&
        done - job.reported >= chunkSize) {
        m_progress->advance(static_cast<double>(done - job.reported));
        job.reported = done;
    }
}

void FileCopier::reportWhole(const Job& job) {
    const auto size = static_cast<std::uint64_t>(job.info.st_size);
    if (m_progress && (job.reported < size || size == 0)) {
        m_progress->advance(static_cast<double>(size - job.reported));
    }
}

}  // namespace vesta2
