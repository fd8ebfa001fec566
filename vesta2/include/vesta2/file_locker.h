#pragma once
/// One locked file: what a flag is made of.
///
/// The lock is a record lock of the whole file (`fcntl`, `F_SETLK`, `F_WRLCK`). What the next
/// reader must know of those:
///
/// - They belong to the PROCESS, not to the descriptor. To the kernel a second lock of the same
///   process is none; so the files that this process has locked are remembered, by device and
///   inode, and locking one again fails, through whatever path.
/// - Closing ANY descriptor of the file drops the process's lock on it. A file that this process
///   has locked is therefore not opened here. But whatever else the process opens and closes, by a
///   library or a copying function of its own, is not under this class's control; to look at a flag
///   there is `lookAtFlag`.
/// - A child of `fork` does not inherit them, and its closing drops none of its parent's.
/// - The kernel drops them when the process ends, however it ends, and the file stays.
/// - They hold between hosts where the file system says so (NFS, GlusterFS, Lustre with flock), and
///   nowhere where it has none at all: there every `lock` succeeds, and flags do not hold.

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
    /// not followed; what is no regular file, or has more names than this one, is refused. The file
    /// that is locked at the end is the one at `path`, also by the word of the server of a network
    /// file system: one that another process deletes meanwhile is let go again.
    /// Returns: whether the file is locked; if not, `status` is `eFileAccessDenied` (EACCES,
    /// EROFS), `eTooManyOpenFiles` (EMFILE), `eFileLocked` (another process has it),
    /// `eAlreadyExists` (this process has it), or `eFileError` (anything else). Deliberate: true
    /// also when the file system cannot lock; the file then counts as locked, and `isGuarded` is
    /// false.
    bool lock(const char* path);
    /// As `lock`, of a file that must be there.
    /// Returns: as `lock`; `status` is `eNotFound` when there is no such file.
    /// Disk: no file is made.
    bool lockExisting(const char* path);

    /// Reads the record in the file into `out`.
    /// Returns: `eNotFound` for an empty file, `eFileError` when it cannot be read,
    /// `eSerializationError` when it is no record.
    error_t readData(basekit2::variant_bag_t& out);
    /// Writes `in` from the beginning of the file on, with a NUL behind it.
    /// Returns: `eFileError` or `eSerializationError` on failure.
    /// Disk: written through (O_DSYNC).
    /// Deliberate: the file is never cut, so the tail of a longer record may follow the NUL.
    error_t writeData(basekit2::variant_bag_t& in);

    /// Returns: the outcome of the last operation.
    [[nodiscard]] error_t status() const { return m_status; }
    /// Returns: whether the file that was locked is still the one at `path`: `eOK`, or `eNotFound`
    /// when it certainly is not, else `eFileError`, with the reason in `errno`.
    [[nodiscard]] error_t checkAt(const char* path) const;
    /// Returns: whether the kernel keeps other processes from locking the file.
    [[nodiscard]] bool isGuarded() const;

private:
    enum class attempt_t { done, failed, again };

    bool lockAt(const char* path, int openFlags);
    attempt_t tryLock(const char* path, int openFlags);
    attempt_t open(const char* path, int openFlags);
    attempt_t lockOpened();
    attempt_t fail(error_t status);
    void close();
    [[nodiscard]] error_t checkAtServer(const char* path) const;
    error_t finish(error_t status) { return m_status = status; }

    std::int32_t m_descriptor = -1;
    error_t m_status = eOK;
};

}  // namespace vesta2::util
