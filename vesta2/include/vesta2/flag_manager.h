#pragma once
/// The flags that this process holds on one node.
///
/// A flag is a claim between processes and hosts. It is a pair of files in the node's directory: a
/// lock file, locked as long as its owner lives (see `FileLocker`), and an information file that
/// tells who that is. The path of a flag is the directory's joined with the flag's name; both files
/// are named by it and an extension.
///
/// Who finds the lock free still asks the record: its owner may live where the file system has no
/// locks. The owner has ended when the kernel of this host knows no such process, or one with
/// another parent. Its flag is then taken over by the next claim, and deleted by the next question.
/// A record that was written in part keeps nobody from a flag whose lock is free.
///
/// Any thread may call any operation but `eraseFlag`; but between `preserveFlags` and
/// `restoreFlags` all others wait. What one manager of a process has, its others cannot claim, also
/// when they reach the directory by another name. Flags belong to the process that claimed them: a
/// child of `fork` owns none and deletes none.
///
/// A flag, as one manager sees it:
///
///     free ------- writeFlag ----------------------------------------> held
///     held ------- removeFlag, eraseFlag, the manager's end ----------> free
///     held ------- preserveFlags (its files are deleted) -------------> preserved
///     preserved -- restoreFlags --------------------------------------> held
///     preserved -- another process has claimed it meanwhile ----------> lost: it is that one's
///     held ------- the process ends without giving it up -------------> stale
///     stale ------ writeFlag of any process --------------------------> reclaimed: held by that
///     one stale ------ isFlagOwner, removeFlag of any process ------------> free
///
/// Operations return the outcome (`eParameterError` for a name that is null or empty) and leave the
/// thread's status alone. They throw
/// `boost::filesystem::filesystem_error` when a file cannot be deleted.

#include <memory>
#include <string>

#include "basekit2/variant.h"
#include "vesta2/error.h"
#include "vesta2/export.h"
#include "vesta2/file_locker.h"

namespace vesta2::util {

/// Layout: one pointer.
class VESTA2_API FlagManager {
public:
    /// Until `setDirectory` is called, a flag's name is its path.
    FlagManager();
    /// Ends every flag, as `eraseAll`. Throws as that does.
    ~FlagManager() noexcept(false);  // NOLINT(bugprone-exception-escape): as promised
    FlagManager(const FlagManager&) = delete;
    FlagManager& operator=(const FlagManager&) = delete;

    /// From now on flags are those of the node in `directory`. Those that are held stay so when
    /// their lock files are found there, as after a rename of the directory; the others are given
    /// up where they were, and what cannot be deleted stays behind.
    void setDirectory(const std::string& directory);

    /// Claims the flag, by a record lock and a record. `info`, which may be null, receives the
    /// record as it now stands: ours, or that of who has it, if that can be read. Returns
    /// `eAlreadyExists` when this process has it already: then `force` makes its record anew
    /// instead, if it is this manager's. `eFileLocked`: another process has it.
    /// `eFileAccessDenied`, `eTooManyOpenFiles`, `eFileError`, `eSerializationError`: it could not
    /// be claimed. With `force` the record of a previous owner is not asked, a lock that is held is
    /// respected all the same.
    error_t writeFlag(const char* name, bool force, basekit2::variant_bag_t* info);

    /// Gives the flag up (`mine`), or deletes it when its owner has ended (not `mine`).
    /// `eNotFound`: there is no such flag. `eAlreadyExists`: not `mine`, but this process has it.
    /// `eNotOwner`: `mine`, but this manager has it not. `eFileLocked`: its owner lives. Else the
    /// codes of `FileLocker`. With `forceErase` a flag that this manager has not is deleted
    /// whatever its record says, and a record without a lock file too; but never one whose lock is
    /// held.
    error_t removeFlag(const char* name, bool mine, bool forceErase);

    /// Asks whose the flag is.
    /// Returns: `eOK` when this manager has the flag, `eNotOwner` when somebody else has or it may
    /// not be found out who has, `eNotFound` when nobody has; else the codes of `FileLocker`.
    /// Deliberate: to ask deletes the flag of an owner that has ended; `lookAtFlag` does not.
    error_t isFlagOwner(const char* name);

    /// Gives the flag up, or deletes it whatever its record says, unless another process has its
    /// lock. To be called by who knows that no other thread uses this manager.
    error_t eraseFlag(const char* name);

    /// Reads the record.
    /// Returns: `eNotFound` when there is none, `eFileLocked` while somebody else reads or
    /// writes it.
    error_t getFlagInfo(const char* name, basekit2::variant_bag_t& out);
    /// Writes a record of this process and moment, put on top of what `out` holds, and leaves it
    /// there. To be called by who has the flag.
    error_t writeFlagInfo(const char* name, basekit2::variant_bag_t& out);

    /// Deletes the files of all flags, but remembers the flags. The manager then stays locked until
    /// the same thread calls `restoreFlags`; it must do so exactly once, also when this throws.
    void preserveFlags();
    /// Claims the remembered flags in `directory`, with the records that they had, and goes on
    /// there, as after `setDirectory`. One that cannot be claimed is dropped without notice.
    void restoreFlags(const char* directory);

    /// Ends every flag. Goes on when a file cannot be deleted, and throws for the first at the end.
    void eraseAll();

    /// Returns: the extension of a flag's lock file and of its information file.
    /// Lifetime: the process.
    static const char* getFlagLockExtension();
    static const char* getFlagInfoExtension();

private:
    struct VESTA2_LOCAL Held;
    const std::unique_ptr<Held> m_held;
};

/// Returns: the name of the flag that guards the data called `name`.
VESTA2_API std::string getDataFlagName(const std::string& name);

}  // namespace vesta2::util
