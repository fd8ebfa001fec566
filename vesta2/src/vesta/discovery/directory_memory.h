#pragma once
/// What was learnt of directories by listing them, for as long as it is sure to be so still; first
/// of all, which marker files make them projects or experiments. Safe from any thread.

#include <chrono>
#include <map>
#include <optional>
#include <string>

#include "basekit2/directory_listing.h"

struct stat;

namespace vesta2 {

/// Tells whether a directory is the one that it was, and unchanged.
struct DirectoryStamp {
    explicit DirectoryStamp(const struct stat& info);
    bool operator==(const DirectoryStamp& other) const = default;

    unsigned long long device;
    unsigned long long inode;
    unsigned long long links;
    long long modified;  ///< nanoseconds since the Epoch
    long long changed;
};

/// What a listing of a directory told.
struct DirectoryContents {
    std::string groupMarker;  ///< the file that makes it a project or experiment; empty for none
    std::map<std::string, int> greatest;  ///< the greatest number that is taken, by pattern
};

/// A look at one directory, and what is known of it by then. Opening the thousand nodes of a
/// directory, or making them, would list it a thousand times otherwise. Safe from any thread; each
/// object is for one.
///
/// What is remembered is believed while the directory is provably unchanged: same device, inode and
/// links, same time stamps, and stamps that were already older than the file system's resolution
/// when it was listed. A directory that changed a moment ago can change again without its stamp
/// moving, so it is listed afresh. Stamps without a fraction of a second are taken for whole
/// seconds, whatever the file system is called: ext4 has them too, where its inodes are small.
///
/// A directory that this process itself makes or deletes a subdirectory in stays known through
/// that, if its link count tells that nobody else did so: a series of creations would list it each
/// time. A file that another process makes in the same instant could escape that, and so could one
/// directory that it makes while it deletes another, so such knowledge ends soon: after twenty
/// times as long as the listing took. Nothing may be deleted on it. Where other hosts change
/// directories too, all that is not sure is known that long: the file system's own client tells of
/// their changes as late, and each listing is a journey.
class DirectoryLook {
public:
    /// Throws `boost::filesystem::filesystem_error` when it cannot be told whether there is such a
    /// directory.
    explicit DirectoryLook(std::string directory);

    [[nodiscard]] bool isDirectory() const { return m_stamp.has_value(); }
    /// Null when nothing is sure.
    [[nodiscard]] const DirectoryContents* contents() const;

    /// To be called before a listing, and `listed` after it. `isLasting` tells that no more than
    /// the directory itself decides what was found: where a symbolic link leads can change without
    /// it.
    void beginListing();
    void listed(DirectoryContents contents, bool isLasting);

    /// This thread has made one subdirectory since the look (1), or deleted one (-1): unless
    /// somebody else was there as well, the directory is still no more and no less a group than it
    /// was, and the numbers that are taken are those in `greatest`. Forgotten where a local file
    /// system does not give each change a time stamp of its own (before Linux 6.13): what comes
    /// within the same tick, be it from this process, would not show.
    void keepThroughOwnChange(int subdirectories, std::map<std::string, int> greatest);

    /// Whether what changes from `now` on gets another time stamp than `stamp`, on a file system
    /// whose stamps are `resolution` apart or, without a fraction of a second, more. All in
    /// nanoseconds.
    static bool isOver(long long stamp, long long now, long long resolution);

private:
    class Memory;
    using Clock = std::chrono::steady_clock;

    struct Known {
        DirectoryStamp stamp;
        DirectoryContents contents;
        Clock::duration cost;   ///< of the listing
        Clock::time_point end;  ///< it is not believed any more then
        bool isSure = false;    ///< else believed elsewhere, and if our own change is the next
        bool isLocal = false;   ///< no other host changes the directory
    };

    static Memory& memory();

    const std::string m_directory;
    std::optional<DirectoryStamp> m_stamp;
    long long m_tick;  ///< the coarse clock, when the look or its listing ended
    std::optional<Known> m_known;
    long long m_begun = 0;  ///< the listing, by the clock that time stamps follow
    Clock::time_point m_clockBegun;
};

/// What the answer "no group" may come from: memory, as far as that can be trusted, or only a
/// listing made now.
enum class Knowledge { remembered, listed };

/// The marker file of the project or experiment in `directory`; empty when it is neither, nothing
/// when there is no such directory. Lists the directory only when it may have changed since the
/// last time. The status stays as it is. Throws `boost::filesystem::filesystem_error` when the
/// directory cannot be looked at or listed.
std::optional<std::string> findGroupMarkerInDir(const std::string& directory,
                                                Knowledge knowledge = Knowledge::remembered);

/// Whether the current entry of `listing` makes its directory a project or an experiment;
/// `isLasting` becomes false when that depends on where a symbolic link leads.
bool isGroupMarker(const basekit2::directory_listing_t& listing, bool& isLasting);

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
    friend std::optional<std::string> findGroupMarkerInDir(const std::string& directory,
                                                           Knowledge knowledge);

    std::map<std::string, std::string> m_known;
    GroupMarkerScope* m_outer;
};

}  // namespace vesta2
