// Second nodes made of the first: duplicates and exports.

#include "../foundation/failure.h"
#include "../foundation/file_checks.h"
#include "../model/property_names.h"
#include "../tree/new_directory.h"
#include "../tree/remove_tree.h"
#include "basekit2/files.h"
#include "creation.h"
#include "vesta2/experiment.h"
#include "vesta2/names.h"
#include "vesta2/path_completion.h"
#include "vesta2/project.h"
#include "vesta2/result_directory.h"
#include "vesta2/result_directory_manager.h"
#include "vesta2/tree_copy.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::sptr_t;

namespace {

/// A duplicate takes the place of the marker file that it was made with, or keeps the name of its
/// source's.
enum class MarkerName { own, ofSource };

/// Makes the new, still empty node `made` a copy of the one in `source`.
sptr_t<INode> fill(sptr_t<INode> made, const fs::path& source, const std::string& sourceMarker,
                   MarkerName name) {
    const fs::path directory = made->getPath();
    if (!isDirectory(directory)) {
        return {};
    }
    const fs::path ownMarker = made->getMarkerFilePath();
    basekit2::remove_file(basekit2::path_t(ownMarker.native()));
    restrictLike(directory, source);
    setStatus(eOK);
    // A duplicate with something missing would pass for the whole.
    if (!copyWithExcludingFlags(source, directory) || getStatus() != eOK) {
        const error_t code = getStatus() == eOK ? eFileError : getStatus();
        removeTree(directory);
        setStatus(code);
        return {};
    }
    fs::path marker = directory / sourceMarker;
    if (!isThere(marker)) {
        return made;
    }
    if (name == MarkerName::own) {
        fs::rename(marker, ownMarker);
        marker = ownMarker;
        // The link file leads to the source.
        removeVestaVariableFromMarkerFile(marker.c_str(), backlinkKey);
    }
    // What it was made with is in its memory; what it has become is on disk. Ours is the only
    // handle.
    made.reset();
    return Node::lookup(marker.native(), nullptr);
}

/// Makes the duplicate at `path` with `create`, which gets its name and its parent directory.
template <class Create>
sptr_t<INode> duplicateAt(const char* path, const fs::path& source, const std::string& sourceMarker,
                          MarkerName name, const Create& create) {
    if (!path || !*path) {
        setStatus(eParameterError);
        return {};
    }
    try {
        const fs::path full = completePath(path, nullptr);
        sptr_t<INode> made = create(full.filename().native(), full.parent_path().native());
        return made ? fill(std::move(made), source, sourceMarker, name) : made;
    } catch (const boost::system::system_error& e) {
        VESTA_FAIL_WITH(e);
        return {};
    }
}

/// The patterns in a text that has one a line.
std::vector<std::string> splitPatterns(const std::string& text) {
    std::vector<std::string> patterns;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        if (end > begin) {
            patterns.push_back(text.substr(begin, end - begin));
        }
        begin = end + 1;
    }
    return patterns;
}

}  // namespace

sptr_t<INode> ResultDirectory::duplicate(const char* path) const {
    return duplicateAt(path, directory(), markerFileName(), MarkerName::own,
                       [](const std::string& name, const std::string& parent) {
                           return ResultDirectoryManager::create(name.c_str(), false, nullptr,
                                                                 false, parent.c_str());
                       });
}

sptr_t<INode> Project::duplicate(const char* path) const {
    return duplicateAt(path, directory(), markerFileName(), MarkerName::ofSource,
                       [](const std::string& name, const std::string& parent) {
                           return createNewProject(name.c_str(), parent.c_str());
                       });
}

sptr_t<INode> Experiment::duplicate(const char* path) const {
    return duplicateAt(path, directory(), markerFileName(), MarkerName::ofSource,
                       [](const std::string& name, const std::string& parent) {
                           return IExperiment::create(name.c_str(), parent.c_str());
                       });
}

sptr_t<IResultDirectory> ResultDirectory::exportTo(const char* destination,
                                                   const char* exclusions) {
    setStatus(eOK);
    if (!destination || !*destination) {
        setStatus(eParameterError);
        return {};
    }
    try {
        std::vector<std::string> patterns = splitPatterns(exclusions ? exclusions : "");
        patterns.insert(patterns.begin(), resultMarkerFileExt());
        basekit2::variant_bag_t bag = properties();
        std::string created;
        if (!setStatus(
                createDirectoryInternal(destination, nullptr, false, &bag, created, false)) ||
            !copyDirectoryWithExlusionPattern(directory(), created, patterns, nullptr)) {
            return {};
        }
        const error_t copied = getStatus();
        // The link file leads to the source; with this property the export would claim it.
        if (basekit2::variant_bag_t* vesta = bag.get_bag(vestaSection)) {
            vesta->remove(backlinkKey);
        }
        if (!setStatus(createDefaultMarkerFile(created, resultMarkerFileExt(), bag))) {
            return {};
        }
        sptr_t<IResultDirectory> exported =
            ResultDirectoryManager::open(created.c_str(), true, nullptr);
        // Steps of the copy that failed are told by the status alone.
        if (copied != eOK) {
            setStatus(copied);
        }
        return exported;
    } catch (const boost::system::system_error& e) {
        VESTA_FAIL_WITH(e);
        return {};
    }
}

}  // namespace vesta2
