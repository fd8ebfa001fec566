#include "vesta2/path_completion.h"

#include <boost/filesystem/operations.hpp>

namespace vesta2 {

namespace fs = boost::filesystem;

void removeEndingSlash(fs::path& path) {
    path = path.lexically_normal();
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
