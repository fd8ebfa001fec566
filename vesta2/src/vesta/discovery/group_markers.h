#pragma once
/// The marker files that make a directory a project or an experiment. Safe from any thread.

#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

#include "vesta2/file_set.h"

struct stat;

namespace vesta2 {

/// The marker file of the project or experiment in `directory`; empty when it is neither. Lists the
/// directory only when it may have changed since the last time. The status stays as it is. Throws
/// `boost::filesystem::filesystem_error` when the directory cannot be listed.
std::string findGroupMarkerInDir(const std::string& directory);

/// Whether a file of this name makes its directory a project or an experiment.
bool isGroupMarkerName(std::string_view name);

/// The span of one operation on the calling thread: what was found out about a directory in it
/// counts until its end. Making a result would otherwise list its parent once for the number, and
/// again, since the new directory changed it, for the parent's marker.
class GroupMarkerScope {
public:
    GroupMarkerScope();
    ~GroupMarkerScope();
    GroupMarkerScope(const GroupMarkerScope&) = delete;
    GroupMarkerScope& operator=(const GroupMarkerScope&) = delete;

    /// Tells the scope of this thread, if there is one, the group marker (or none) of `directory`.
    static void note(const std::string& directory, const std::string& marker);

private:
    friend std::string findGroupMarkerInDir(const std::string& directory);

    std::map<std::string, std::string> m_known;
    GroupMarkerScope* m_outer;
};

/// Remembers which marker file a directory holds, so that opening the thousand nodes of a directory
/// does not list it a thousand times to learn whether it is a project.
///
/// What is remembered is believed only while the directory is provably unchanged: same device and
/// inode, same time stamps, and stamps that were already older than the file system's resolution
/// when the directory was listed. A directory that changed a moment ago can change again without
/// its stamp moving, so it is listed afresh. Stamps without a fraction of a second are taken for
/// whole seconds, whatever the file system is called: ext4 has them too, where its inodes are
/// small. Safe from any thread.
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
