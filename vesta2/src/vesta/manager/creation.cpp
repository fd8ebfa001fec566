#include "creation.h"

#include <limits>

#include "../discovery/directory_listing.h"
#include "../discovery/extensions.h"
#include "../discovery/group_markers.h"
#include "../foundation/file_checks.h"
#include "../foundation/log.h"
#include "../model/property_names.h"
#include "../tree/new_directory.h"
#include "../tree/remove_tree.h"
#include "vesta2/i_node_group.h"
#include "vesta2/names.h"
#include "vesta2/path_completion.h"
#include "vesta2/pattern.h"

namespace vesta2 {

namespace fs = boost::filesystem;

namespace {

/// Whether a name is still one component after its variables were filled in.
bool isOneComponent(const std::string& name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(std::string("/\0", 2)) == std::string::npos;
}

error_t makeParent(const fs::path& parent) {
    const fs::file_status status = statusOf(parent);
    if (fs::exists(status)) {
        return fs::is_directory(status) ? eOK : eNotFound;
    }
    // Another process may make it first; what counts is that it is there.
    return fs::create_directories(parent) || fs::is_directory(parent) ? eOK : eNotFound;
}

/// The greatest number that a directory or link file in `parent` has under `pattern`; -1 without
/// any. The same listing answers whether the parent is a project, which the new node will want to
/// know.
int greatestNumber(const fs::path& parent, const Pattern& pattern) {
    int greatest = -1;
    std::string groupMarker;
    DirectoryListing listing(parent);
    while (listing.next()) {
        int number = 0;
        if (pattern.match(std::string(listing.name()), &number) && number > greatest &&
            (isAnyLink(extensionOf(listing.name())) || listing.isDirectory())) {
            greatest = number;
        }
        if (groupMarker.empty() && isGroupMarkerName(listing.name()) && listing.isRegularFile()) {
            groupMarker = listing.path();
        }
    }
    GroupMarkerScope::note(parent.native(), groupMarker);
    return greatest;
}

/// Makes the directory of `number`.
error_t makeNumbered(const fs::path& parent, const Pattern& pattern, int number,
                     const basekit2::variant_bag_t* variables, std::string& createdDir) {
    const std::string name = pattern.generateFileName(number, variables);
    if (!isOneComponent(name)) {
        return eInvalidPath;
    }
    const std::string path = (parent / name).native();
    const error_t result = createNewDirectory(path);
    if (result == eOK) {
        createdDir = path;
    }
    return result;
}

error_t makeNext(const fs::path& parent, const Pattern& pattern,
                 const basekit2::variant_bag_t* variables, std::string& createdDir) {
    constexpr int last = std::numeric_limits<int>::max();
    int number = greatestNumber(parent, pattern);
    error_t result = eAlreadyExists;
    // Of several processes that try the same number one gets it; the others move on to the next.
    while (result == eAlreadyExists) {
        if (number == last) {
            return eUnknown;
        }
        result = makeNumbered(parent, pattern, ++number, variables, createdDir);
    }
    const bool isFinal =
        result == eOK || result == eInsufficientPermissions || result == eInvalidPath;
    return isFinal || number == last
               ? result
               : makeNumbered(parent, pattern, number + 1, variables, createdDir);
}

error_t makeNamed(const fs::path& parent, const std::string& name, bool overwrite,
                  std::string& createdDir) {
    if (!isOneComponent(name)) {
        return eInvalidPath;
    }
    const fs::path path = parent / name;
    if (overwrite && fs::exists(path) && removeTree(path) == 0) {
        return eUnknown;
    }
    createdDir = path.native();
    return createNewDirectory(createdDir);
}

error_t makeDirectory(const std::string& path, const char* baseDir, bool overwrite,
                      const basekit2::variant_bag_t* bag, std::string& createdDir, bool literal) {
    std::string base;
    if (baseDir) {
        const std::string group = completePath(baseDir, nullptr).native();
        if (const auto opened = INodeGroup::open(group.c_str())) {
            base = opened->getOutputDirectory();
        }
    }
    const fs::path full = completePath(path, base.c_str());
    const std::string name = full.filename().native();
    if (const error_t code = validateFileName(name.c_str())) {
        return code;
    }
    const basekit2::variant_bag_t* variables = bag ? bag->get_bag(vestaSection) : nullptr;
    Pattern pattern;
    if (const error_t code = pattern.set(name, variables)) {
        return code;
    }
    const bool isNumbered = pattern.width() > 0 && !literal;
    if (isNumbered && overwrite) {
        return eParameterError;
    }
    const fs::path parent = full.parent_path();
    if (const error_t code = makeParent(parent)) {
        return code;
    }
    return isNumbered ? makeNext(parent, pattern, variables, createdDir)
                      : makeNamed(parent, Pattern::subst(name, variables), overwrite, createdDir);
}

}  // namespace

error_t createDirectoryInternal(const std::string& path, const char* baseDir, bool overwrite,
                                const basekit2::variant_bag_t* bag, std::string& createdDir,
                                bool literal) {
    try {
        const error_t code = makeDirectory(path, baseDir, overwrite, bag, createdDir, literal);
        if (code != eOK) {
            VESTA_LOG_ERROR(code, path.c_str());
        }
        return code;
    } catch (const boost::system::system_error& e) {
        logError(Severity::error, errorFromBoostError(e), e.what(), __LINE__);
        return errorFromBoostError(e);
    }
}

}  // namespace vesta2
