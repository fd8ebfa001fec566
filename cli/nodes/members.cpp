#include "nodes/members.h"

#include <algorithm>
#include <boost/filesystem/path.hpp>

#include "base/text.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"
#include "vesta2/result_directory_manager.h"

namespace cli {

Failure searchFailure(vesta2::error_t status, const std::string& pattern) {
    if (status == vesta2::eParameterError) {
        // The status of a search does not tell what is wrong with a pattern.
        const std::string name = boost::filesystem::path(pattern).filename().native();
        status = vesta2::ResultDirectoryManager::validateResultDirectoryPattern(name.c_str());
    }
    return Failure::fromStatus(status, pattern);
}

std::vector<std::string> membersAt(const std::string& path, const char* directory) {
    const vesta2::FileSet kinds(vesta2::resultMarkerFileExt(), vesta2::experimentMarkerFileExt(),
                                vesta2::projectMarkerFileExt());
    vesta2::FileSet found;
    vesta2::findPatternedMarkerFileOrLink(path, directory, kinds, found, 0, false);
    const vesta2::error_t status = vesta2::getStatus();
    if (status != vesta2::eOK && status != vesta2::eNotFound) {
        throw searchFailure(status, path);
    }
    std::vector<std::string> members(found.begin(), found.end());
    const auto name = [](std::string_view member) { return member.substr(member.rfind('/') + 1); };
    std::ranges::sort(members, isCountedBefore, name);
    return members;
}

}  // namespace cli
