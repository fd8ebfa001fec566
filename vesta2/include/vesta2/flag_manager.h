#pragma once
/// The flags that this process holds on one node.
///
/// A flag is a claim between processes and hosts. It is a pair of files in the node's directory: a
/// lock file, locked as long as its owner lives (see `FileLocker`), and an information file that
/// tells who that is. A flag is named by its path, which is the directory's joined with the flag's
/// name; both files are named by it and an extension.
///
/// Who finds the lock free still asks the record: its owner may live where the file system has no
/// locks. The owner has ended when the kernel of this host knows no such process, or one with
/// another parent. Its flag is then taken over by the next claim, and deleted by the next question.
///
/// Any thread may call any operation; but between `preserveFlags` and `restoreFlags` all others
/// wait. Have one manager per directory in a process: record locks do not tell two apart. Flags
/// belong to the process that claimed them: a child of `fork` owns none and deletes none.
///
/// Operations return the outcome and leave the thread's status alone. They throw
/// `boost::filesystem::filesystem_error` when a file cannot be deleted.

#include <boost/shared_ptr.hpp>
#include <boost/thread/mutex.hpp>
#include <map>
#include <string>

#include "basekit2/variant.h"
#include "vesta2/error.h"
#include "vesta2/export.h"
#include "vesta2/file_locker.h"

namespace vesta2::util {

class VESTA2_API FlagManager {
public:
    FlagManager() = default;
    /// Ends every flag, as `eraseAll`. Throws as that does.
    ~FlagManager() noexcept(false);  // NOLINT(bugprone-exception-escape): as promised
    FlagManager(const FlagManager&) = delete;
    FlagManager& operator=(const FlagManager&) = delete;

    /// Claims the flag. `info`, which may be null, receives the record as it now stands: ours, or
    /// that of who has it. Returns `eAlreadyExists` when this process has it already: then `force`
    /// makes its record anew instead. `eFileLocked`: another process has it. `eFileAccessDenied`,
    /// `eTooManyOpenFiles`, `eFileError`, `eSerializationError`: it could not be claimed. With
    /// `force` the record of a previous owner is not asked, a lock that is held is respected all
    /// the same.
    error_t writeFlag(const char* name, bool force, basekit2::variant_bag_t* info);

    /// Gives the flag up (`mine`), or deletes it when its owner has ended (not `mine`).
    /// `eNotFound`: there is no such flag. `eAlreadyExists`: not `mine`, but it is. `eNotOwner`:
    /// `mine`, but it is not; `forceErase` deletes it then, unless its lock is held. `eFileLocked`:
    /// its owner lives. Else the codes of `FileLocker`.
    error_t removeFlag(const char* name, bool mine, bool forceErase);

    /// `eOK` when this process has the flag, `eNotOwner` when another has, `eNotFound` when nobody
    /// has. Deliberate: to ask deletes the flag of an owner that has ended; `lookAtFlag` does not.
    error_t isFlagOwner(const char* name);

    /// Forgets the flag and deletes its lock file, then its information file. To be called by who
    /// knows that no other thread uses this manager.
    error_t eraseFlag(const char* name);

    /// Reads the record. `eNotFound` when there is none, `eFileLocked` while another process reads
    /// or writes it.
    error_t getFlagInfo(const char* name, basekit2::variant_bag_t& out);
    /// Writes a record of this process and moment, put on top of what `out` holds, and leaves it
    /// there.
    error_t writeFlagInfo(const char* name, basekit2::variant_bag_t& out);

    /// Deletes the files of all flags, but remembers the flags. The manager then stays locked until
    /// the same thread calls `restoreFlags`; it must do so exactly once, also when this throws.
    void preserveFlags();
    /// Claims the remembered flags in `directory`, with the records that they had. One that cannot
    /// be claimed is dropped without notice.
    void restoreFlags(const char* directory);

    /// Ends every flag. Goes on when a file cannot be deleted, and throws for the first at the end.
    void eraseAll();

    /// Extension of a flag's lock file and of its information file, computed when the library is
    /// loaded; valid for the life of the process.
    static const char* getFlagLockExtension();
    static const char* getFlagInfoExtension();

private:
    struct Flag {
        boost::shared_ptr<FileLocker> locker;  ///< null while preserved
        basekit2::variant_bag_t info;
    };

    void forgetInherited();
    error_t claim(const char* name, bool force, basekit2::variant_bag_t& record);
    error_t readOwner(const char* name, basekit2::variant_bag_t& record);
    error_t writeOwner(const char* name, basekit2::variant_bag_t& record);

    boost::mutex m_mutex;
    std::map<std::string, Flag> m_flags;  ///< by flag path
    boost::unique_lock<boost::mutex> m_preserveLock;
    int m_process = 0;  ///< the one that claimed the flags
};

/// The name of the flag that guards the data called `name`.
VESTA2_API std::string getDataFlagName(const std::string& name);

}  // namespace vesta2::util
