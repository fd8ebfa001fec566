#pragma once
/// The files that this process has locked. A record lock is lost, without a word, when ANY
/// descriptor of its file is closed by the process that has it. So code that opens files which may
/// belong to a flag asks here first, and closes them here. Safe from any thread.

#include <sys/stat.h>

#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace vesta2 {

class LockedFiles {
public:
    /// The one of this process. Never destroyed: flags may be dropped while the process ends.
    static LockedFiles& get();
    LockedFiles(const LockedFiles&) = delete;
    LockedFiles& operator=(const LockedFiles&) = delete;

    /// To be held around every operation below, from before a lock is taken until `add` has noted
    /// it, and as long as a descriptor is used that `find` told.
    std::mutex& mutex() { return m_mutex; }

    struct Place {
        bool isGuarded;  ///< else the file system has no locks, and the file only counts as locked
        bool isLocal;    ///< only this host changes the file
    };

    /// Notes that `descriptor` holds a lock on `file`.
    void add(int descriptor, const struct stat& file, Place place);
    /// `descriptor` holds its lock no longer; closes what `close` kept.
    void remove(int descriptor);
    [[nodiscard]] bool holds(int descriptor) const { return entryOf(descriptor) != m_files.end(); }
    /// Of a file that `descriptor` holds a lock on; neither for any other.
    [[nodiscard]] Place placeOf(int descriptor) const;
    /// Whether `file` is what `descriptor` holds a lock on.
    [[nodiscard]] bool isOf(int descriptor, const struct stat& file) const;
    [[nodiscard]] bool isEmpty() const { return m_files.empty(); }
    /// The descriptor that holds the lock on the file; -1 when this process has it not locked.
    [[nodiscard]] int find(const struct stat& file) const;
    /// Closes `descriptor`, which holds no lock of its own. When this process has its file locked,
    /// it stays open as long as that lock is held.
    void close(int descriptor);

private:
    LockedFiles();

    using Identity = std::pair<dev_t, ino_t>;
    struct Entry {
        int descriptor = -1;
        int process = 0;  ///< a child inherits the table, but not the locks
        Place place{};
        std::vector<int> kept;
    };
    using Entries = std::map<Identity, Entry>;

    [[nodiscard]] Entries::const_iterator entryOf(int descriptor) const;

    std::mutex m_mutex;
    Entries m_files;
};

/// Whether to open and close the file would lose a lock of this process.
bool isLockedByThisProcess(dev_t device, ino_t inode);

/// `LockedFiles::close` for code that opened a file for another purpose: another thread may have
/// locked it meanwhile.
void closeBesideLocks(int descriptor);

}  // namespace vesta2
