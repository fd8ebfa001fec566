#include "group_being_emptied.h"

#include <sys/stat.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <optional>

#include "../foundation/file_checks.h"
#include "basekit2/file_error.h"

namespace vesta2 {

namespace fs = boost::filesystem;

namespace {

thread_local const GroupBeingEmptied* t_innermostGroup = nullptr;

/// Nothing when there is no such directory.
std::optional<std::pair<dev_t, ino_t>> identityOf(const fs::path& directory) {
    struct stat info {};
    if (::stat(directory.c_str(), &info) == 0) {
        return std::pair{info.st_dev, info.st_ino};
    }
    if (!basekit2::means_absent(errno)) {
        basekit2::throw_file_error("cannot look at", directory);
    }
    return std::nullopt;
}

}  // namespace

GroupBeingEmptied::GroupBeingEmptied(const fs::path& directory) : m_outer(t_innermostGroup) {
    for (fs::path place = resolved(directory); !place.empty(); place = place.parent_path()) {
        if (const auto identity = identityOf(place)) {
            m_directories.push_back(*identity);
        }
    }
    t_innermostGroup = this;
}

GroupBeingEmptied::~GroupBeingEmptied() { t_innermostGroup = m_outer; }

bool GroupBeingEmptied::liesIn(const fs::path& directory) {
    if (!t_innermostGroup) {
        return false;
    }
    const auto identity = identityOf(directory);
    if (!identity) {
        return false;
    }
    const GroupBeingEmptied* group = t_innermostGroup;
    while (group &&
           std::count(group->m_directories.begin(), group->m_directories.end(), *identity) == 0) {
        group = group->m_outer;
    }
    return group != nullptr;
}

}  // namespace vesta2
