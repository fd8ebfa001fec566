// Making and opening the nodes that hold others, and the members of a group that make and open
// nodes.

#include "../foundation/failure.h"
#include "../model/creation_record.h"
#include "creation.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"
#include "vesta2/node.h"
#include "vesta2/node_group.h"
#include "vesta2/result_directory_manager.h"

namespace vesta2 {

using basekit2::sptr_t;

namespace {

/// What to do when the directory of a new node is there already.
enum class Existing { refuse, reuse };

/// Makes the directory and the marker file of a node whose markers have `extension`. On success
/// `directory` is the node's; false with the status set otherwise.
bool makeNode(const char* name, const char* parentDir, const std::string& extension,
              Existing existing, std::string& directory) {
    if (!name || !*name) {
        return setStatus(eParameterError);
    }
    try {
        basekit2::variant_bag_t bag;
        fillCreationRecord(bag);
        std::string pattern;
        std::string markerName;
        splitDirPatternAndFileName(name, extension, pattern, markerName);
        const error_t code =
            createDirectoryInternal(pattern, parentDir, false, &bag, directory, false);
        const bool isReused = existing == Existing::reuse && code == eAlreadyExists;
        if (!isReused && !setStatus(code)) {
            return false;
        }
        return setStatus(createDefaultMarkerFile(directory, markerName, bag));
    } catch (const boost::system::system_error& e) {
        return VESTA_FAIL_WITH(e);
    }
}

sptr_t<INode> openNode(const char* name, const char* parentDir, const std::string& extension) {
    return Node::lookup(findLastMatching(name ? name : "", parentDir, extension, false), parentDir);
}

}  // namespace

sptr_t<IProject> IProject::create(const char* name, const char* parentDir, bool removeOnClose) {
    std::string directory;
    if (!makeNode(name, parentDir, projectMarkerFileExt(), Existing::reuse, directory)) {
        return {};
    }
    sptr_t<IProject> project = open(directory.c_str(), parentDir);
    if (project) {
        project->setRemoveOnClose(removeOnClose);
    }
    return project;
}

sptr_t<IProject> IProject::open(const char* name, const char* parentDir) {
    return cast(openNode(name, parentDir, projectMarkerFileExt()));
}

bool IProject::probe(const char* path) {
    return path && !findMarkerFileOrLink(path, FileSet(projectMarkerFileExt()), true).empty();
}

sptr_t<IExperiment> IExperiment::create(const char* name, const char* parentDir) {
    std::string directory;
    if (!makeNode(name, parentDir, experimentMarkerFileExt(), Existing::refuse, directory)) {
        return {};
    }
    return open(directory.c_str(), parentDir);
}

sptr_t<IExperiment> IExperiment::open(const char* name, const char* parentDir) {
    return cast(openNode(name, parentDir, experimentMarkerFileExt()));
}

bool IExperiment::probe(const char* path) {
    return path && !findMarkerFileOrLink(path, FileSet(experimentMarkerFileExt()), true).empty();
}

sptr_t<IResultDirectory>
NodeGroup::createResultDirectory(const char* pattern, const basekit2::variant_bag_t* properties) {
    return ResultDirectoryManager::create(pattern, false, properties, false, m_path.c_str());
}

sptr_t<IResultDirectory> NodeGroup::openResultDirectory(const char* name) {
    return IResultDirectory::cast(openNode(name, m_path.c_str(), resultMarkerFileExt()));
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
