#include "node_directory.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <optional>
#include <random>
#include <string_view>
#include <thread>
#include <utility>

#include "../discovery/directory_memory.h"
#include "../discovery/extensions.h"
#include "../foundation/file_checks.h"
#include "../foundation/log.h"
#include "../foundation/path_parts.h"
#include "../model/node_registry.h"
#include "../tree/new_directory.h"
#include "../tree/remove_tree.h"
#include "basekit2/directory_listing.h"
#include "basekit2/file_error.h"
#include "vesta2/i_node_group.h"
#include "vesta2/names.h"
#include "vesta2/node.h"
#include "vesta2/path_completion.h"
#include "vesta2/pattern.h"
#include "vesta2/property_names.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::variant_bag_t;

namespace {

/// Where a new node lies, and who takes it in.
struct Place {
    std::string base;   ///< what its path is relative to; empty for the working directory
    std::string group;  ///< the directory of the project or experiment that it belongs to, if any
};

/// A base that is not there is one all the same: it is made with the other missing parents.
error_t findPlace(const char* baseDir, Place& place) {
    if (!baseDir) {
        return eOK;
    }
    place.base = completePath(baseDir, nullptr).native();
    const GroupLook group = lookAtGroup(place.base, Knowledge::remembered);
    auto* const node = dynamic_cast<Node*>(group.node.get());
    if (!node) {
        return group.isDirectory || isAbsent(place.base) ? eOK : eNotFound;
    }
    if (!node->getNodeGroup()) {
        return eNotFound;
    }
    place.group = node->currentPath();
    place.base = node->getOutputDirectory();
    return eOK;
}

/// What is wrong with a name in which the variables are filled in.
error_t validateExpanded(const std::string& name) {
    const bool isOneComponent = !name.empty() && name != "." && name != ".." &&
                                name.find_first_of(std::string("/\0", 2)) == std::string::npos;
    return isOneComponent ? validateFileName(name.c_str()) : eInvalidPath;
}

error_t makeParent(const fs::path& parent) {
    const fs::file_status status = lookAt(parent);
    if (fs::exists(status)) {
        return fs::is_directory(status) ? eOK : eNotFound;
    }
    boost::system::error_code error;
    fs::create_directories(parent, error);
    // Another process may make it first; what counts is that it is there.
    if (!error || isDirectory(parent)) {
        return eOK;
    }
    // A file or a symbolic link that leads nowhere is in the way.
    const bool isBlocked =
        error == boost::system::errc::file_exists || error == boost::system::errc::not_a_directory;
    return isBlocked ? eNotFound : errorFromBoostError(boost::system::system_error(error));
}

/// Whether the entry takes the number that it has: a link file does, and a directory. So does what
/// this process may not look at.
bool takesNumber(const basekit2::directory_listing_t& listing) {
    if (isAnyLink(extensionOf(listing.name()))) {
        return true;
    }
    try {
        return listing.is_directory();
    } catch (const fs::filesystem_error& e) {
        if (e.code() != boost::system::errc::permission_denied) {
            throw;
        }
        return true;
    }
}

/// The names that a pattern makes, and how they are known again.
struct Series {
    const Pattern& pattern;
    std::string key;
};

/// What `directory` holds, as far as a new node asks: what is known of it by the look, or else all
/// from one listing. A series without an entry has the number -1.
DirectoryContents contentsOf(const fs::path& directory, DirectoryLook& look, const Series* series) {
    const DirectoryContents* const known = look.contents();
    if (known && (!series || known->greatest.count(series->key) != 0)) {
        GroupMarkerScope::note(directory.native(), known->groupMarker);
        return *known;
    }
    DirectoryContents contents;
    int greatest = -1;
    bool isLasting = true;
    look.beginListing();
    basekit2::directory_listing_t listing(directory);
    while (listing.next()) {
        int number = 0;
        if (series && listing.name().starts_with(series->pattern.prefix()) &&
            series->pattern.match(std::string(listing.name()), &number) && number > greatest &&
            takesNumber(listing)) {
            greatest = number;
        }
        if (contents.groupMarker.empty() && isGroupMarker(listing, isLasting)) {
            contents.groupMarker = listing.path();
        }
    }
    if (series) {
        contents.greatest[series->key] = greatest;
    }
    look.listed(contents, isLasting);
    GroupMarkerScope::note(directory.native(), contents.groupMarker);
    return contents;
}

/// For a name nothing need be known: one can be made in a directory that may not be listed.
void listIfAllowed(const fs::path& directory, DirectoryLook& look) {
    try {
        contentsOf(directory, look, nullptr);
    } catch (const fs::filesystem_error&) {
        // Who opens the node finds out what that means for its parent.
    }
}

/// In a group that has its nodes made elsewhere, the names that it holds itself are taken as well:
/// the new node gets a link file there.
int greatestInGroup(const fs::path& parent, const std::string& group, const Series& series) {
    if (group.empty() || parent.native() == group) {
        return -1;
    }
    DirectoryLook look(group);
    return contentsOf(group, look, &series).greatest.at(series.key);
}

/// Makes the directory of `number`.
error_t makeNumbered(const fs::path& parent, const Pattern& pattern, int number,
                     const variant_bag_t* variables, std::string& createdDir) {
    const std::string path = (parent / pattern.generateFileName(number, variables)).native();
    const error_t result = createNewDirectory(path);
    if (result == eOK) {
        createdDir = path;
    }
    return result;
}

/// Whether the directory of `number` is there; nothing when that cannot be told.
std::optional<bool> isTaken(const fs::path& parent, const Pattern& pattern, int number,
                            const variant_bag_t* variables) {
    struct stat ignored {};
    const std::string path = (parent / pattern.generateFileName(number, variables)).native();
    if (::lstat(path.c_str(), &ignored) == 0) {
        return true;
    }
    return basekit2::means_absent(errno) ? std::optional(false) : std::nullopt;
}

/// From a number that is taken on, the last before one that is free, in steps that double and then
/// halve: others may be hundreds ahead by now. `number` itself when that cannot be told.
int lastTaken(const fs::path& parent, const Pattern& pattern, int number,
              const variant_bag_t* variables) {
    constexpr int greatestStep = 1 << 20;
    int known = number;
    bool isDoubling = true;
    for (int step = 1; step > 0; step = isDoubling ? step * 2 : step / 2) {
        const bool isPossible = known <= std::numeric_limits<int>::max() - step;
        const std::optional<bool> taken =
            isPossible ? isTaken(parent, pattern, known + step, variables) : false;
        if (!taken) {
            return number;
        }
        known += *taken ? step : 0;
        isDoubling = isDoubling && *taken && step < greatestStep;
    }
    return known;
}

/// How one of many that want a number at once gets out of the others' way. In step they would all
/// try all numbers, and the tries grow with the square of their number.
class Crowd {
public:
    /// After each number that another was quicker to take. Returns whether it is a crowd: then the
    /// next number is to be looked for, not tried.
    bool lost() {
        constexpr int inPassing = 3;
        constexpr int mostDoublings = 10;
        const Clock::duration cost = Clock::now() - m_begun;
        if (++m_losses > inPassing) {
            // Each time twice as long, until about one of them comes at a time.
            pause(cost * (1 << std::min(m_losses - inPassing, mostDoublings)));
        }
        m_begun = Clock::now();
        return m_losses > inPassing;
    }

private:
    using Clock = std::chrono::steady_clock;

    /// Shorter ones than the first the system makes no shorter.
    static void pause(Clock::duration longest) {
        using namespace std::chrono_literals;
        if (longest > 200us) {
            std::random_device random;
            std::uniform_int_distribution<Clock::rep> part(
                0, std::min<Clock::duration>(longest, 5s).count());
            std::this_thread::sleep_for(Clock::duration(part(random)));
        }
    }

    Clock::time_point m_begun = Clock::now();
    int m_losses = 0;
};

/// Makes the directory of the number that follows `number`, which becomes that.
error_t makeNext(const fs::path& parent, const Pattern& pattern, int& number,
                 const variant_bag_t* variables, std::string& createdDir) {
    constexpr int last = std::numeric_limits<int>::max();
    error_t result = eAlreadyExists;
    // Of several processes that try the same number one gets it; the others move on to the next.
    for (Crowd crowd; result == eAlreadyExists;) {
        if (number == last) {
            return eUnknown;
        }
        result = makeNumbered(parent, pattern, ++number, variables, createdDir);
        if (result == eAlreadyExists && crowd.lost()) {
            number = lastTaken(parent, pattern, number, variables);
        }
    }
    // Deliberate: after any other failure the next number is tried as well, once.
    const bool isFinal = result == eOK || result == eInsufficientPermissions;
    return isFinal || number == last
               ? result
               : makeNumbered(parent, pattern, ++number, variables, createdDir);
}

/// Deletes what has the name of the new node, a symbolic link itself and not what it leads to; but
/// not what takes that name after the look.
error_t clear(const fs::path& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) == 0) {
        return removeTree(path, FileId(info)) == 0 ? eUnknown : eOK;
    }
    if (!basekit2::means_absent(errno)) {
        basekit2::throw_file_error("cannot look at", path);
    }
    return eOK;
}

/// Whether the last component of a path is a name: "." and ".." stand for a directory whose name is
/// not told, and which nobody means to delete by them.
bool namesEntry(std::string_view path) {
    path = path.substr(0, path.find_last_not_of('/') + 1);
    return nameIn(path) != "." && nameIn(path) != "..";
}

error_t makeNamed(const fs::path& path, bool overwrite, std::string& createdDir) {
    const error_t cleared = overwrite ? clear(path) : eOK;
    if (cleared != eOK) {
        return cleared;
    }
    createdDir = path.native();
    return createNewDirectory(createdDir);
}

}  // namespace

error_t makeNodeDirectory(const std::string& path, const char* baseDir, bool overwrite,
                          const variant_bag_t* bag, std::string& createdDir, bool literal) {
    if (overwrite && !namesEntry(path)) {
        return eInvalidPath;
    }
    Place place;
    if (const error_t code = findPlace(baseDir, place)) {
        return code;
    }
    const fs::path full = completePath(path, place.base.c_str());
    const fs::path parent = parentOf(full);
    const std::string name(nameIn(full.native()));
    if (const error_t code = validateFileName(name.c_str())) {
        return code;
    }
    const variant_bag_t* variables = bag ? bag->get_bag(section::vesta) : nullptr;
    Pattern pattern;
    if (const error_t code = pattern.set(name, variables)) {
        return code;
    }
    const bool isNumbered = pattern.width() > 0 && !literal;
    if (isNumbered && overwrite) {
        return eParameterError;
    }
    const std::string expanded =
        isNumbered ? pattern.generateFileName(0, variables) : Pattern::subst(name, variables);
    if (const error_t code = validateExpanded(expanded)) {
        return code;
    }
    std::optional<DirectoryLook> look(std::in_place, parent.native());
    if (!look->isDirectory()) {
        if (const error_t code = makeParent(parent)) {
            return code;
        }
        look.emplace(parent.native());
    }
    const Series series{pattern, pattern.prefix() + '@' + expanded};
    int number = 0;
    if (isNumbered) {
        number = std::max(contentsOf(parent, *look, &series).greatest.at(series.key),
                          greatestInGroup(parent, place.group, series));
    } else {
        listIfAllowed(parent, *look);
    }
    const error_t code = isNumbered ? makeNext(parent, pattern, number, variables, createdDir)
                                    : makeNamed(parent / expanded, overwrite, createdDir);
    if (code == eOK) {
        // Of other series no more is known: the new name may belong to them, too.
        look->keepThroughOwnChange(1, isNumbered ? std::map<std::string, int>{{series.key, number}}
                                                 : std::map<std::string, int>());
    }
    return code;
}

error_t createDirectoryInternal(const std::string& path, const char* baseDir, bool overwrite,
                                const variant_bag_t* bag, std::string& createdDir, bool literal) {
    try {
        const error_t code = makeNodeDirectory(path, baseDir, overwrite, bag, createdDir, literal);
        if (code != eOK) {
            logError(code, path.c_str());
        }
        return code;
    } catch (const boost::system::system_error& e) {
        logFailure(e);
        return errorFromBoostError(e);
    }
}

}  // namespace vesta2
