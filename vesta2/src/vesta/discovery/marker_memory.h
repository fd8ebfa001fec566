#pragma once
/// Remembers which marker file a directory holds, so that opening the thousand nodes of a directory
/// does not list it a thousand times to learn whether it is a project.
///
/// What is remembered is believed only while the directory is provably unchanged: same device and
/// inode, same time stamps, and stamps that were already older than the file system's resolution
/// when the directory was listed. A directory that changed a moment ago can change again without
/// its stamp moving, so it is listed afresh. Stamps without a fraction of a second are taken for
/// whole seconds, whatever the file system is called: ext4 has them too, where its inodes are
/// small. Safe from any thread.

#include <mutex>
#include <string>
#include <unordered_map>

#include "vesta2/file_set.h"

struct stat;

namespace vesta2 {

class MarkerMemory {
public:
    explicit MarkerMemory(FileSet extensions) : m_extensions(std::move(extensions)) {}

    /// As `findMarkerFileInDir`, but the status stays as it is.
    std::string find(const std::string& directory);

    /// Whether what changes from `now` on gets another time stamp than `stamp`, on a file system
    /// whose stamps are `resolution` apart or, without a fraction of a second, more. All in
    /// nanoseconds.
    static bool isOver(long long stamp, long long now, long long resolution);

private:
    struct Identity {
        explicit Identity(const struct stat& info);
        bool operator==(const Identity& other) const;

        unsigned long long device;
        unsigned long long inode;
        unsigned long long links;
        long long modified;  ///< nanoseconds since the Epoch
        long long changed;
    };
    struct Listed {
        Identity identity;
        std::string marker;
    };

    static bool haveSettled(const Identity& stamps, long long now, long long resolution);
    bool recall(const std::string& directory, const Identity& identity, std::string& marker);
    void remember(const std::string& directory, Listed listed);

    FileSet m_extensions;
    std::mutex m_mutex;
    std::unordered_map<std::string, Listed> m_listed;
};

}  // namespace vesta2
