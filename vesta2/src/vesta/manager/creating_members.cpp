// Members of nodes and groups that create and open nodes. They are declared in model/ and stand
// here because they call the manager.

#include <unistd.h>

#include <optional>

#include "../foundation/file_checks.h"
#include "../foundation/log.h"
#include "../model/creation_record.h"
#include "../model/marker_io.h"
#include "node_directory.h"
#include "opening.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"
#include "vesta2/node_group.h"
#include "vesta2/result_directory_manager.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::sptr_t;

namespace {

/// What to do when the directory of a new node is there already.
enum class Existing { refuse, reuse };

struct Made {
    std::string marker;
    bool isNew = true;  ///< false when there was such a node already
    std::optional<MarkerInHand> inHand{};
};

/// Makes the directory and the marker file of a node whose markers have `extension`.
error_t makeOnDisk(const char* name, const char* parentDir, const std::string& extension,
                   Existing existing, Made& made) {
    basekit2::variant_bag_t bag;
    fillCreationRecord(bag);
    std::string pattern;
    std::string markerName;
    splitDirPatternAndFileName(name, extension, pattern, markerName);
    std::string directory;
    const error_t code = makeNodeDirectory(pattern, parentDir, false, &bag, directory, false);
    const bool isReused = existing == Existing::reuse && code == eAlreadyExists &&
                          fs::is_directory(lookAt(directory));
    if (code != eOK && !isReused) {
        return code;
    }
    made.marker = isReused ? findMarkerFileInDir(directory, FileSet(extension)) : "";
    error_t written = eAlreadyExists;
    if (made.marker.empty()) {
        made.marker = markerFileIn(directory, markerName).native();
        std::string text;
        written = writeFirstMarkerFile(made.marker, bag, &text);
        if (code == eOK && written == eOK) {
            made.inHand.emplace(made.marker, std::move(text), std::move(bag));
        }
    }
    if (code == eOK && written != eOK && written != eAlreadyExists) {
        // An empty directory would only be in the way of the next try.
        ::rmdir(directory.c_str());
    }
    made.isNew = written != eAlreadyExists;
    return made.isNew ? written : eOK;
}

/// As `makeOnDisk`, and opens the node.
template <class Interface>
sptr_t<Interface> makeAndOpen(const char* name, const char* parentDir, const std::string& extension,
                              Existing existing, Made& made) {
    if (!name || !*name) {
        setStatus(eParameterError);
        return {};
    }
    try {
        if (!setStatus(makeOnDisk(name, parentDir, extension, existing, made))) {
            logError(getStatus(), name);
            return {};
        }
        return openFound<Interface>(made.marker, parentDir);
    } catch (const boost::system::system_error& e) {
        failWith(e);
        return {};
    }
}

template <class Interface>
sptr_t<Interface> openGreatest(const char* name, const char* parentDir,
                               const std::string& extension) {
    if (!name) {
        setStatus(eParameterError);
        return {};
    }
    return openFound<Interface>(findLastMatching(name, parentDir, extension, false), parentDir);
}

}  // namespace

sptr_t<IProject> IProject::create(const char* name, const char* parentDir, bool removeOnClose) {
    Made made;
    sptr_t<IProject> project =
        makeAndOpen<IProject>(name, parentDir, projectMarkerFileExt(), Existing::reuse, made);
    if (project && made.isNew) {
        project->setRemoveOnClose(removeOnClose);
    }
    return project;
}

sptr_t<IProject> IProject::open(const char* name, const char* parentDir) {
    return openGreatest<IProject>(name, parentDir, projectMarkerFileExt());
}

bool IProject::probe(const char* path) {
    return path && !findMarkerFileOrLink(path, FileSet(projectMarkerFileExt()), true).empty();
}

sptr_t<IExperiment> IExperiment::create(const char* name, const char* parentDir) {
    Made made;
    return makeAndOpen<IExperiment>(name, parentDir, experimentMarkerFileExt(), Existing::refuse,
                                    made);
}

sptr_t<IExperiment> IExperiment::open(const char* name, const char* parentDir) {
    return openGreatest<IExperiment>(name, parentDir, experimentMarkerFileExt());
}

bool IExperiment::probe(const char* path) {
    return path && !findMarkerFileOrLink(path, FileSet(experimentMarkerFileExt()), true).empty();
}

sptr_t<IResultDirectory>
NodeGroup::createResultDirectory(const char* pattern, const basekit2::variant_bag_t* properties) {
    return ResultDirectoryManager::create(pattern, false, properties, false, m_path.c_str());
}

sptr_t<IResultDirectory> NodeGroup::openResultDirectory(const char* name) {
    return openGreatest<IResultDirectory>(name, m_path.c_str(), resultMarkerFileExt());
}

sptr_t<IExperiment> NodeGroup::createExperiment(const char* name) {
    return IExperiment::create(name, m_path.c_str());
}

sptr_t<IExperiment> NodeGroup::openExperiment(const char* name) {
    return IExperiment::open(name, m_path.c_str());
}

sptr_t<IProject> NodeGroup::createProject(const char* name, bool removeOnClose) {
    return IProject::create(name, m_path.c_str(), removeOnClose);
}

sptr_t<IProject> NodeGroup::openProject(const char* name) {
    return IProject::open(name, m_path.c_str());
}

}  // namespace vesta2
