// What the manager tells about names and about the thread's last call.

#include <boost/filesystem/path.hpp>

#include "../foundation/reserved_names.h"
#include "../naming/mpi_rank.h"
#include "vesta2/names.h"
#include "vesta2/path_completion.h"
#include "vesta2/pattern.h"
#include "vesta2/result_directory_manager.h"

namespace vesta2 {

const char* ResultDirectoryManager::getDefaultResultDirectoryName() { return "r@@@"; }

bool ResultDirectoryManager::isPathPatterned(const char* path) {
    Pattern pattern;
    return path && pattern.set(completePath(path, nullptr).filename().native(), nullptr) == eOK &&
           pattern.width() > 0;
}

error_t ResultDirectoryManager::validateResultDirectoryPattern(const char* name) {
    const error_t code = validateFileName(name);
    return code == eOK ? Pattern().set(name, nullptr) : code;
}

bool ResultDirectoryManager::isReservedDirectoryName(const char* upperCaseName) {
    return upperCaseName && isReservedDeviceName(upperCaseName);
}

int ResultDirectoryManager::getCurrentMpiRank() { return currentMpiRank(); }

error_t ResultDirectoryManager::getLastError() { return getStatus(); }

}  // namespace vesta2
