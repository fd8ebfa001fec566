#include "vesta2/result_directory_manager.h"

#include <utility>

#include "../discovery/group_markers.h"
#include "../foundation/failure.h"
#include "../model/creation_record.h"
#include "../model/property_names.h"
#include "creation.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"
#include "vesta2/node.h"
#include "vesta2/path_completion.h"
#include "vesta2/pattern.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::sptr_t;
using basekit2::variant_bag_t;

namespace {

sptr_t<IResultDirectory> openMatch(const std::string& match, const char* groupPath) {
    return IResultDirectory::cast(Node::lookup(match, groupPath));
}

FileSet findTwoGreatest(const char* path, bool literal) {
    FileSet found;
    findPatternedMarkerFileOrLink(path, nullptr, FileSet(resultMarkerFileExt()), found, 2, literal);
    return found;
}

/// `directory` with the variables in its last component filled in.
std::string withVariables(const fs::path& directory, const variant_bag_t* variables) {
    const variant_bag_t* vesta = variables ? variables->get_bag(vestaSection) : nullptr;
    return (directory.parent_path() / Pattern::subst(directory.filename().native(), vesta))
        .native();
}

/// The entry before the greatest; empty when there is none.
std::string secondGreatest(const FileSet& found) {
    return found.size() == 2 ? *found.begin() : std::string();
}

}  // namespace

sptr_t<IResultDirectory> ResultDirectoryManager::create(const char* path, bool overwrite,
                                                        const variant_bag_t* variables,
                                                        bool literal, const char* baseDir) {
    if (!path || !*path) {
        setStatus(eParameterError);
        return {};
    }
    try {
        const GroupMarkerScope scope;
        variant_bag_t bag = variables ? *variables : variant_bag_t();
        fillCreationRecord(bag);
        const int rank = getCurrentMpiRank();
        if (rank >= 0) {
            bag.put_bag(vestaSection).put(mpiRankKey, std::int32_t{rank});
        }
        std::string pattern;
        std::string markerName;
        splitDirPatternAndFileName(path, resultMarkerFileExt(), pattern, markerName);
        std::string created;
        if (!setStatus(
                createDirectoryInternal(pattern, baseDir, overwrite, &bag, created, literal)) ||
            !setStatus(createDefaultMarkerFile(created, markerName, bag))) {
            return {};
        }
        // The directory's name is no pattern, whatever a variable may have brought into it.
        return open(created.c_str(), true, baseDir);
    } catch (const boost::system::system_error& e) {
        VESTA_FAIL_WITH(e);
        return {};
    }
}

sptr_t<IResultDirectory> ResultDirectoryManager::get(const char* path,
                                                     const variant_bag_t* variables, bool literal) {
    if (!path || !*path) {
        setStatus(eParameterError);
        return {};
    }
    try {
        const fs::path full = completePath(path, nullptr);
        Pattern pattern;
        if (!setStatus(pattern.set(full.filename().native(), nullptr))) {
            return {};
        }
        sptr_t<IResultDirectory> result = create(path, false, variables, literal, nullptr);
        const bool isNumbered = pattern.width() > 0 && !literal;
        if (result || isNumbered || getStatus() != eAlreadyExists) {
            return result;
        }
        std::string directory;
        std::string markerName;
        splitDirPatternAndFileName(full, resultMarkerFileExt(), directory, markerName);
        const std::string written = std::exchange(directory, withVariables(directory, variables));
        const bool hasMarker =
            !findMarkerFileInDir(directory, FileSet(resultMarkerFileExt())).empty();
        if (!hasMarker &&
            !setStatus(createDefaultMarkerFile(directory, markerName, variant_bag_t()))) {
            return {};
        }
        return open(directory == written ? path : directory.c_str(), literal, nullptr);
    } catch (const boost::system::system_error& e) {
        VESTA_FAIL_WITH(e);
        return {};
    }
}

sptr_t<IResultDirectory> ResultDirectoryManager::open(const char* path, bool literal,
                                                      const char* baseDir) {
    if (!path) {
        setStatus(eParameterError);
        return {};
    }
    return openMatch(findLastMatching(path, "", resultMarkerFileExt(), literal), baseDir);
}

bool ResultDirectoryManager::openForDiff(const char* first, const char* second,
                                         sptr_t<IResultDirectory>* firstOut,
                                         sptr_t<IResultDirectory>* secondOut, bool literal) {
    firstOut->reset();
    secondOut->reset();
    if (!first || !second) {
        return setStatus(eParameterError);
    }
    const FileSet foundFirst = findTwoGreatest(first, literal);
    if (foundFirst.empty()) {
        return false;
    }
    const FileSet foundSecond = findTwoGreatest(second, literal);
    if (foundSecond.empty()) {
        return false;
    }
    const std::string latest = *foundFirst.rbegin();
    std::string other = *foundSecond.rbegin();
    if (latest == other) {
        other = secondGreatest(foundSecond);
        other = other.empty() ? secondGreatest(foundFirst) : other;
        if (other.empty()) {
            return setStatus(eNotFound);
        }
    }
    // Both are files that were found: their names are no patterns any more.
    *firstOut = open(latest.c_str(), true, nullptr);
    *secondOut = open(other.c_str(), true, nullptr);
    return true;
}

sptr_t<IResultDirectory> ResultDirectoryManager::openForImport(const char* path,
                                                               const char* extension) {
    if (!path || !extension) {
        setStatus(eParameterError);
        return {};
    }
    return openMatch(findLastMatching(path, "", std::string(".") + extension, false), nullptr);
}

bool IResultDirectory::probe(const char* path) {
    return path && !findMarkerFileOrLink(path, FileSet(resultMarkerFileExt()), true).empty();
}

}  // namespace vesta2
