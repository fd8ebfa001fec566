#include "new_directory.h"

#include "../foundation/file_checks.h"
#include "basekit2/path.h"

namespace vesta2 {

namespace fs = boost::filesystem;

namespace {

constexpr unsigned anyPermission = 255;

error_t whyTaken(const std::string& path) {
    if (!isDirectory(path)) {
        return eAlreadyExists;
    }
    bool isReadOnly = false;
    bool failed = false;
    basekit2::path_t::readonly(basekit2::path_t(path), &isReadOnly, &failed, anyPermission);
    return failed ? eFileError : isReadOnly ? eInsufficientPermissions : eAlreadyExists;
}

}  // namespace

error_t createNewDirectory(const std::string& path) {
    try {
        // Making it is the test whether it is there: looking first would only invite a race.
        return fs::create_directory(path) ? eOK : whyTaken(path);
    } catch (const fs::filesystem_error& e) {
        const error_t code = errorFromBoostError(e);
        return code == eAlreadyExists ? whyTaken(path) : code;
    }
}

}  // namespace vesta2
