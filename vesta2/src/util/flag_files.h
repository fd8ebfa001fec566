#pragma once
/// The two files of one flag, and the rules that give it to one owner at a time.
///
/// A process changes or deletes either file only while it holds the record lock on the lock file,
/// and after it has checked that the locked inode is still the one at the path. Two others can then
/// still be at work: a reader, which holds the lock on the information file; and a former owner
/// that has unlinked the lock file and is about to unlink the information file, whose lock it
/// holds. Waiting for the lock on the information file waits for both.
///
///     no files  -- claim -->  held  -- give up -->  no files
///                              |
///                              +-- owner ends -->  stale  -- claim -->  held
///                                                    +-- question -->  no files
///
/// Operations throw `boost::filesystem::filesystem_error` when a file cannot be deleted.

#include <string>

#include "basekit2/variant.h"
#include "vesta2/error.h"
#include "vesta2/file_locker.h"

namespace vesta2::util {

class FlagFiles {
public:
    /// Of the flag at `path`; see `FlagManager`.
    explicit FlagFiles(const std::string& path);

    /// Certainly nothing is at the path of the lock file.
    [[nodiscard]] bool hasNoLockFile() const;
    /// Certainly nothing is at the path of the information file.
    [[nodiscard]] bool hasNoInfoFile() const;
    /// Reads the record without a lock; `record` is empty when that fails.
    void peek(basekit2::variant_bag_t& record) const;

    /// Locks the lock file, making it or not.
    bool lock(FileLocker& locker) const { return locker.lock(m_lockPath.c_str()); }
    bool lockExisting(FileLocker& locker) const { return locker.lockExisting(m_lockPath.c_str()); }
    /// Whether `locker` still has the file that is the lock file now.
    [[nodiscard]] error_t check(const FileLocker& locker) const {
        return locker.checkAt(m_lockPath.c_str());
    }

    /// One try to read the record, or to write one of this process and moment.
    error_t readInfo(basekit2::variant_bag_t& record) const;
    error_t writeInfo(basekit2::variant_bag_t& record) const;

    // To be called with the lock file locked.

    /// Records a claim of this process, unless the record tells that its owner lives, and `force`
    /// is not given: then `eFileLocked`. `record` is then the owner's, or empty.
    error_t claim(const FileLocker& locker, bool force, basekit2::variant_bag_t& record) const;
    /// Records a claim by the record that it had elsewhere.
    error_t restore(basekit2::variant_bag_t& record) const;
    /// Makes the record of a flag that is held anew; `record` is empty when that fails.
    error_t refresh(basekit2::variant_bag_t& record) const;
    /// Deletes both files when the record tells that its owner has ended, or with `force`.
    /// `eNotFound`: there is no record.
    error_t removeStale(const FileLocker& locker, bool force) const;
    /// Deletes both files of a flag that is held.
    void giveUp(const FileLocker& locker) const;

private:
    error_t judge(const FileLocker& locker, FileLocker& info,
                  basekit2::variant_bag_t& record) const;
    error_t record(FileLocker& info, basekit2::variant_bag_t& record) const;
    bool lockInfo(FileLocker& info, bool make) const;

    const std::string m_lockPath;
    const std::string m_infoPath;
};

}  // namespace vesta2::util
