#include "group_being_emptied.h"

#include <sys/stat.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>

#include "basekit2/file_error.h"

namespace vesta2 {

namespace fs = boost::filesystem;

namespace {

thread_local const GroupBeingEmptied* t_innermostGroup = nullptr;

std::pair<dev_t, ino_t> identityOf(const fs::path& directory) {
    struct stat info {};
    if (::stat(directory.c_str(), &info) != 0) {
        basekit2::throw_file_error("cannot look at", directory);
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

}  // namespace vesta2
