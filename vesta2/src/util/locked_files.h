#pragma once
/// The files that this process has locked. A record lock is lost when any descriptor of its file is
/// closed, so whoever only wants to look must know which files not to open.

#include <sys/stat.h>

#include <map>
#include <mutex>

namespace vesta2::util {

class LockedFiles {
public:
    /// The one of this process. Never destroyed: flags may be dropped while the process ends.
    static LockedFiles& get();

    /// To be held from before a lock is taken until `add` has noted it, around `remove`, and as
    /// long as a descriptor is open that was not found here.
    std::mutex& mutex() { return m_mutex; }

    void add(int descriptor, const struct stat& file);
    void remove(int descriptor);
    /// The descriptor that holds the lock on the file; -1 when this process has it not locked.
    [[nodiscard]] int find(const struct stat& file) const;

private:
    struct Entry {
        dev_t device;
        ino_t inode;
        int process;  ///< a child inherits the table, but not the locks
    };

    std::mutex m_mutex;
    std::map<int, Entry> m_files;  ///< by descriptor
};

}  // namespace vesta2::util
