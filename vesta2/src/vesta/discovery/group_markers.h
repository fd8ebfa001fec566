#pragma once
/// The marker files that make a directory a project or an experiment. Safe from any thread.

#include <map>
#include <string>
#include <string_view>

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

}  // namespace vesta2
