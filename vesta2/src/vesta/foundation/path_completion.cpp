#include "vesta2/path_completion.h"

#include <boost/filesystem/operations.hpp>
#include <string_view>

#include "normal_path.h"

namespace vesta2 {

namespace fs = boost::filesystem;

namespace {

/// Whether there is nothing to fold: most paths come from a listing or were completed before, and a
/// look is cheaper than taking them apart.
bool isNormal(std::string_view text) {
    while (!text.empty()) {
        const std::size_t slash = text.find('/', 1);
        std::string_view component = text.substr(0, slash);
        if (component.front() == '/') {
            component.remove_prefix(1);
        }
        if (component.empty() || component == "." || component == "..") {
            return false;
        }
        text = slash == std::string_view::npos ? std::string_view() : text.substr(slash);
    }
    return true;
}

}  // namespace

fs::path normalPath(const fs::path& path) {
    return isNormal(path.native()) ? path : path.lexically_normal();
}

void removeEndingSlash(fs::path& path) {
    if (isNormal(path.native())) {
        return;
    }
    path = path.lexically_normal();
    // A leading "." is left by the folding.
    if (path.native().rfind("./", 0) == 0) {
        path = path.native().substr(2);
    }
    if (path.filename() == ".") {
        path = path.parent_path();
    }
    const std::string& text = path.native();
    if (!text.empty() && text.back() == '/') {
        path = text.substr(0, text.size() - 1);
    }
}

fs::path completePath(const fs::path& path, const char* baseDir) {
    fs::path completed = path;
    removeEndingSlash(completed);
    if (completed.is_absolute()) {
        return completed;
    }
    fs::path base = fs::current_path();
    if (baseDir && *baseDir) {
        base = fs::absolute(baseDir, base);
    }
    return fs::absolute(completed, base);
}

}  // namespace vesta2
