#include "group_being_emptied.h"

#include <sys/stat.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <optional>

#include "../foundation/file_checks.h"
#include "basekit2/file_error.h"
#include "vesta2/path_completion.h"

namespace vesta2 {

namespace fs = boost::filesystem;

namespace {

thread_local const GroupBeingEmptied* t_innermostGroup = nullptr;

/// Nothing when there is no such directory.
std::optional<FileId> identityOf(const fs::path& directory) {
    struct stat info {};
    if (::stat(directory.c_str(), &info) == 0) {
        return FileId(info);
    }
    if (!basekit2::means_absent(errno)) {
        basekit2::throw_file_error("cannot look at", directory);
    }
    return std::nullopt;
}

}  // namespace

GroupBeingEmptied::GroupBeingEmptied(const KnownDirectory& directory)
    : m_group{normalPath(completePath(directory.path, nullptr)), directory.id},
      m_outer(t_innermostGroup) {
    if (!m_group.id.isKnown()) {
        m_group.id = identityOf(m_group.path).value_or(FileId());
    }
    m_directories.push_back(m_group.id);
    for (fs::path place = resolved(m_group.path); !place.empty(); place = place.parent_path()) {
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

KnownDirectory GroupBeingEmptied::outermostAround(const fs::path& place) {
    KnownDirectory outermost;
    for (const GroupBeingEmptied* group = t_innermostGroup; group; group = group->m_outer) {
        if (place.native().starts_with(group->m_group.path.native() + '/')) {
            outermost = group->m_group;
        }
    }
    return outermost;
}

}  // namespace vesta2
