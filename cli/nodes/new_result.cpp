#include "nodes/new_result.h"

#include <boost/filesystem/path.hpp>
#include <climits>
#include <memory>

#include "base/failure.h"
#include "base/presence.h"
#include "base/text.h"
#include "nodes/flags.h"
#include "nodes/members.h"
#include "nodes/node_argument.h"
#include "nodes/removal.h"
#include "nodes/selection.h"
#include "nodes/variables.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"
#include "vesta2/path_completion.h"
#include "vesta2/pattern.h"
#include "vesta2/property_names.h"
#include "vesta2/result_directory_manager.h"

namespace cli {
namespace {

using vesta2::ResultDirectoryManager;

/// Where the result will be, but for the number of a pattern.
boost::filesystem::path placeOf(const NewResult& wanted, const std::string& group,
                                const vesta2::ResultVariableBag& variables) {
    std::string directory;
    std::string marker;
    vesta2::splitDirPatternAndFileName(wanted.name, vesta2::resultMarkerFileExt(), directory,
                                       marker);
    const boost::filesystem::path whole(directory);
    const std::string last = whole.filename().native();
    if (wanted.overwrite && !wanted.literal && namingOf(last) == Naming::newest) {
        throw Failure(exitUsage, vesta2::completePath(whole, group.c_str()).native(),
                      "a pattern always makes a new result",
                      "leave --overwrite out, or give a name without '@'");
    }
    const std::string name =
        vesta2::Pattern::subst(last, variables.get_bag(vesta2::section::vesta));
    return vesta2::completePath(whole.parent_path() / name, group.c_str());
}

/// The directory would be made, and then no marker file in it.
void requireShortName(const boost::filesystem::path& place) {
    const std::size_t most = NAME_MAX - vesta2::resultMarkerFileExt().size();
    const std::size_t size = place.filename().size();
    if (size > most) {
        throw Failure(exitUsage, place.native(),
                      "the name is too long: it has " + std::to_string(size) + " bytes",
                      "choose one of at most " + std::to_string(most) +
                          ", to which the marker file's can be added");
    }
}

/// Claims the result at `path`, which is to be overwritten. That deletes a whole tree, so it is
/// done to results alone: a mistyped name must not cost a home directory.
std::unique_ptr<FlagClaim> claimOverwritten(const std::string& path, bool withoutQuestion) {
    if (!vesta2::IResultDirectory::probe(path.c_str())) {
        throw Failure(exitExists, path, "is there, but is no result",
                      "--overwrite replaces results only; choose another name");
    }
    requireUnclaimed(*namedResult(path));
    if (!withoutQuestion && !askForRemoval({memberNamed(path)})) {
        throw Failure(exitNegative, path, "stays: nothing was deleted", "choose another name");
    }
    return claimForRemoval(path);
}

/// A result is a directory, but holds no others.
void requireNoResult(const std::string& group) {
    if (!group.empty() && vesta2::IResultDirectory::probe(group.c_str())) {
        throw Failure(exitUsage, group, "is a result, and no group to make another in",
                      "name a directory, a project or an experiment");
    }
}

Failure creationFailure(vesta2::error_t status, const NewResult& wanted, const std::string& path) {
    switch (status) {
    case vesta2::eAlreadyExists:
        return {exitExists, path, "is there already",
                wanted.mayOverwrite
                    ? "choose another name or a pattern such as 'r@@@', or use --overwrite"
                    : "choose another name or a pattern such as 'r@@@'"};
    case vesta2::eInsufficientPermissions:
        return {exitPermission, path, "cannot be made: permission denied",
                "choose a directory that you may write to"};
    case vesta2::eNotFound:
        return {exitNotFound, path, "cannot be made: its parent is no directory", "check the path"};
    case vesta2::eUnknown:
        return {exitFailure, path, "the result could not be written",
                "check the space on the disk"};
    default:
        break;
    }
    return Failure::fromStatus(status, path);
}

basekit2::sptr_t<vesta2::IResultDirectory> make(const NewResult& wanted, const std::string& group,
                                                const vesta2::ResultVariableBag& variables,
                                                bool overwrites) {
    auto result =
        ResultDirectoryManager::create(wanted.name.c_str(), overwrites, &variables, wanted.literal,
                                       group.empty() ? nullptr : group.c_str());
    if (!result) {
        const std::string path = vesta2::completePath(wanted.name, group.c_str()).native();
        throw creationFailure(ResultDirectoryManager::getLastError(), wanted, path);
    }
    return result;
}

}  // namespace

basekit2::sptr_t<vesta2::IResultDirectory>
createNewResult(const NewResult& wanted, const vesta2::ResultVariableBag& variables) {
    const std::string group = groupPath(wanted.group);
    requireNoResult(group);
    requirePath(wanted.name);
    requireKnownVariables(wanted.name, variables);
    const boost::filesystem::path place = placeOf(wanted, group, variables);
    requireShortName(place);
    if (wanted.overwrite) {
        // What comes into an empty place meanwhile is not overwritten: nobody was asked for it.
        const std::string& path = place.native();
        if (isThere(path)) {
            const auto claim = claimOverwritten(path, wanted.withoutQuestion);
            return make(wanted, group, variables, true);
        }
    }
    return make(wanted, group, variables, false);
}

}  // namespace cli
