// Members of nodes that make a second node of the first: duplicates, and exports, which are
// duplicates with something left out. They are declared in model/ and stand here because they call
// the manager.

#include "../foundation/file_checks.h"
#include "../foundation/log.h"
#include "../model/creation_record.h"
#include "../model/node_state.h"
#include "../tree/made_directory.h"
#include "../tree/tree_copier.h"
#include "node_directory.h"
#include "vesta2/discovery.h"
#include "vesta2/experiment.h"
#include "vesta2/names.h"
#include "vesta2/path_completion.h"
#include "vesta2/project.h"
#include "vesta2/property_names.h"
#include "vesta2/result_directory.h"
#include "vesta2/result_directory_manager.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::sptr_t;

namespace {

/// Whether a duplicate's marker file is named after its directory, or keeps its name.
enum class MarkerName { own, ofSource };

/// What is duplicated.
struct Original {
    const fs::path& directory;
    const FileId& home;
    std::string marker;
    std::string extension;
    MarkerName naming;
};

basekit2::variant_bag_t creationRecord() {
    basekit2::variant_bag_t record;
    fillCreationRecord(record);
    return record;
}

/// Makes the marker file of a duplicate, or what was copied as that, its own.
void settleMarker(const Original& original, const fs::path& marker) {
    if (isAbsent(marker)) {
        // The original has none.
        setStatus(createDefaultMarkerFile(marker.parent_path(), marker.filename().native(),
                                          creationRecord()));
    } else if (original.naming == MarkerName::own) {
        // The link file leads to the original.
        removeVestaVariableFromMarkerFile(marker.c_str(), property::backlink);
    }
}

/// Fills the new directory and opens what it has become; empty, with the status, when that fails.
sptr_t<INode> fill(const MadeDirectory& made, const Original& original, const std::string& group) {
    const std::string marker = original.naming == MarkerName::own
                                   ? made.path().filename().native() + original.extension
                                   : original.marker;
    const std::vector<std::string> exclusions = flagFilePatterns();
    const TreeCopyRequest request{original.directory, made.path(), exclusions,   nullptr,
                                  original.marker,    marker,      original.home};
    requireFreeMarkerName(request);
    setStatus(eOK);
    const bool isDone = copyTree(request, made.duplicate());
    // A duplicate with something missing would pass for the whole.
    if (!isDone || getStatus() != eOK) {
        setStatus(getStatus() == eOK ? eFileError : getStatus());
        return {};
    }
    settleMarker(original, made.certainPath() / marker);
    return getStatus() == eOK ? Node::lookup((made.path() / marker).native(), group.c_str())
                              : sptr_t<INode>();
}

/// Makes the duplicate at `path`. What was made is deleted again unless all succeeds.
sptr_t<INode> duplicateAt(const char* path, const Original& original) {
    if (!path || !*path) {
        setStatus(eParameterError);
        return {};
    }
    try {
        const fs::path full = completePath(path, nullptr);
        const std::string group = full.parent_path().native();
        std::string pattern;
        std::string markerName;
        splitDirPatternAndFileName(full.filename(), original.extension, pattern, markerName);
        const basekit2::variant_bag_t record = creationRecord();
        std::string created;
        if (!setStatus(
                createDirectoryInternal(pattern, group.c_str(), false, &record, created, false))) {
            return {};
        }
        MadeDirectory made(created, original.directory);
        sptr_t<INode> node = fill(made, original, group);
        if (node) {
            made.keep();
        }
        return node;
    } catch (const boost::system::system_error& e) {
        failWith(e);
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
    return duplicateAt(path, {directory(), NodeState::homeOf(*this), markerFileName(),
                              resultMarkerFileExt(), MarkerName::own});
}

sptr_t<INode> Project::duplicate(const char* path) const {
    return duplicateAt(path, {directory(), NodeState::homeOf(*this), markerFileName(),
                              projectMarkerFileExt(), MarkerName::ofSource});
}

sptr_t<INode> Experiment::duplicate(const char* path) const {
    return duplicateAt(path, {directory(), NodeState::homeOf(*this), markerFileName(),
                              experimentMarkerFileExt(), MarkerName::ofSource});
}

sptr_t<IResultDirectory> ResultDirectory::exportTo(const char* destination,
                                                   const char* exclusions) {
    setStatus(eOK);
    if (!destination || !*destination) {
        setStatus(eParameterError);
        return {};
    }
    try {
        if (markerState() != marker_state_t::read) {
            // The export would pass for the whole, without the properties.
            setStatus(eUnknown);
            return {};
        }
        std::vector<std::string> patterns = splitPatterns(exclusions ? exclusions : "");
        patterns.insert(patterns.begin(), resultMarkerFileExt());
        basekit2::variant_bag_t bag = properties();
        std::string created;
        if (!setStatus(
                createDirectoryInternal(destination, nullptr, false, &bag, created, false))) {
            return {};
        }
        MadeDirectory made(created, directory());
        TreeCopyRequest request{directory(), made.path(), patterns};
        request.home = NodeState::homeOf(*this);
        if (!copyTree(request, made.duplicate())) {
            setStatus(getStatus() == eOK ? eFileError : getStatus());
            return {};
        }
        const error_t copied = getStatus();
        // The link file leads to the source; with this property the export would claim it.
        if (basekit2::variant_bag_t* vesta = bag.get_bag(section::vesta)) {
            vesta->remove(property::backlink);
        }
        const std::string marker = made.path().filename().native() + resultMarkerFileExt();
        if (!setStatus(createDefaultMarkerFile(made.certainPath(), marker, bag))) {
            return {};
        }
        sptr_t<IResultDirectory> exported =
            ResultDirectoryManager::open(created.c_str(), true, nullptr);
        if (exported) {
            made.keep();
            // Steps of the copy that failed are told by the status alone.
            setStatus(copied == eOK ? getStatus() : copied);
        }
        return exported;
    } catch (const boost::system::system_error& e) {
        failWith(e);
        return {};
    }
}

}  // namespace vesta2
