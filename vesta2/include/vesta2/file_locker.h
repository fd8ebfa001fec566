#pragma once
/// One locked file: what a flag is made of.
///
/// The lock is a record lock of the whole file (`fcntl`, `F_SETLK`, `F_WRLCK`). What the next
/// reader must know of those:
///
/// - They belong to the PROCESS, not to the descriptor. A second `FileLocker` of the same process
/// on
///   the same file gets the "lock" too.
/// - Closing ANY descriptor of the file drops the process's lock on it, also the one that another
///   `FileLocker` took. So whoever holds a flag must not open and close its lock file by the way;
///   to look at a flag there is `lookAtFlag`.
/// - A child of `fork` does not inherit them, and its closing drops none of its parent's.
/// - The kernel drops them when the process ends, however it ends, and the file stays.
/// - They hold between hosts where the file system says so (NFS, GlusterFS, Lustre with flock), and
///   nowhere where it has none at all: there every `lock` succeeds.

#include <sys/stat.h>

#include <cstdint>

#include "basekit2/variant.h"
#include "vesta2/error.h"
#include "vesta2/export.h"

namespace vesta2::util {

/// For one thread. No operation waits, and none touches the thread's status.
class VESTA2_API FileLocker {
public:
    FileLocker() = default;
    /// Unlocks and closes. The file stays.
    ~FileLocker();
    FileLocker(const FileLocker&) = delete;
    FileLocker& operator=(const FileLocker&) = delete;

    /// Opens the file, or makes it (mode 0644), and locks it; to be called once. Symbolic links are
    /// not followed, and what is no regular file is refused. The file that is locked at the end is
    /// the one at `path`: one that another process deletes meanwhile is let go again.
    /// False, with `status`: `eFileAccessDenied` (EACCES, EROFS), `eTooManyOpenFiles` (EMFILE),
    /// `eFileLocked` (another process has it), `eFileError` (anything else).
    /// Deliberate: true also when the file system cannot lock; the file then counts as locked.
    bool lock(const char* path);
    /// As `lock`, of a file that must be there: else false, with `eNotFound`.
    bool lockExisting(const char* path);

    /// Reads the record in the file into `out`. Returns `eNotFound` for an empty file, `eFileError`
    /// when it cannot be read, `eSerializationError` when it is no record.
    error_t readData(basekit2::variant_bag_t& out);
    /// Writes `in` from the beginning of the file on, with a NUL behind it. Returns `eFileError` or
    /// `eSerializationError` on failure.
    /// Deliberate: the file is never cut, so the tail of a longer record may follow the NUL.
    error_t writeData(basekit2::variant_bag_t& in);

    /// Outcome of the last operation.
    [[nodiscard]] error_t status() const { return m_status; }
    /// Whether the file that was opened is still the one at `path`.
    [[nodiscard]] bool isAt(const char* path) const;

private:
    bool lockAt(const char* path, int openFlags);
    bool open(const char* path, int openFlags, struct stat& opened);
    void close();
    error_t finish(error_t status) { return m_status = status; }

    std::int32_t m_descriptor = -1;
    error_t m_status = eOK;
};

}  // namespace vesta2::util
