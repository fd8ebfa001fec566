#include "removal.h"

#include <sys/stat.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>

#include "../tree/tree_error.h"

namespace vesta2 {

namespace fs = boost::filesystem;

namespace {

thread_local const GroupBeingEmptied* t_innermostGroup = nullptr;
thread_local const NodeBeingRemoved* t_innermostNode = nullptr;

std::pair<dev_t, ino_t> identityOf(const fs::path& directory) {
    struct stat info {};
    if (::stat(directory.c_str(), &info) != 0) {
        throwTreeError("cannot look at", directory);
    }
    return {info.st_dev, info.st_ino};
}

}  // namespace

GroupBeingEmptied::GroupBeingEmptied(const fs::path& directory) : m_outer(t_innermostGroup) {
    for (fs::path place = fs::canonical(directory); !place.empty(); place = place.parent_path()) {
        m_directories.push_back(identityOf(place));
    }
    t_innermostGroup = this;
}

GroupBeingEmptied::~GroupBeingEmptied() { t_innermostGroup = m_outer; }

bool GroupBeingEmptied::liesIn(const fs::path& directory) {
    if (!t_innermostGroup) {
        return false;
    }
    const auto identity = identityOf(directory);
    const GroupBeingEmptied* group = t_innermostGroup;
    while (group &&
           std::count(group->m_directories.begin(), group->m_directories.end(), identity) == 0) {
        group = group->m_outer;
    }
    return group != nullptr;
}

NodeBeingRemoved::NodeBeingRemoved(const std::string& markerFilePath)
    : m_markerFilePath(markerFilePath), m_outer(t_innermostNode) {
    t_innermostNode = this;
}

NodeBeingRemoved::~NodeBeingRemoved() { t_innermostNode = m_outer; }

bool NodeBeingRemoved::contains(const std::string& markerFilePath) {
    const NodeBeingRemoved* removal = t_innermostNode;
    while (removal && removal->m_markerFilePath != markerFilePath) {
        removal = removal->m_outer;
    }
    return removal != nullptr;
}

fs::path NodeBeingRemoved::outermostAround(const fs::path& place) {
    fs::path outermost;
    for (const NodeBeingRemoved* removal = t_innermostNode; removal; removal = removal->m_outer) {
        const fs::path directory = fs::path(removal->m_markerFilePath).parent_path();
        if (place.native().rfind(directory.native() + '/', 0) == 0) {
            outermost = directory;
        }
    }
    return outermost;
}

}  // namespace vesta2
