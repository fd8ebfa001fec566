#pragma once
/// The marker files that make a directory a project or an experiment. Safe from any thread.

#include <map>
#include <optional>
#include <string>

#include "basekit2/directory_listing.h"

namespace vesta2 {

/// The marker file of the project or experiment in `directory`; empty when it is neither, nothing
/// when there is no such directory. Lists the directory only when it may have changed since the
/// last time. The status stays as it is. Throws `boost::filesystem::filesystem_error` when the
/// directory cannot be looked at or listed.
std::optional<std::string> findGroupMarkerInDir(const std::string& directory);

/// The same by listing it, whatever is remembered: for who would delete something on the answer.
std::optional<std::string> listForGroupMarker(const std::string& directory);

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
    friend std::optional<std::string> findGroupMarkerInDir(const std::string& directory);

    std::map<std::string, std::string> m_known;
    GroupMarkerScope* m_outer;
};

}  // namespace vesta2
