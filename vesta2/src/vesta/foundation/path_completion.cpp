#include "vesta2/path_completion.h"

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <filesystem>
#include <string_view>

namespace vesta2 {

namespace fs = boost::filesystem;

namespace {

/// Whether the first component is one to fold: an empty one, "." or "..".
bool beginsFolded(std::string_view text) {
    std::size_t dots = 0;
    while (dots < text.size() && text[dots] == '.') {
        ++dots;
    }
    return dots <= 2 && (dots == text.size() || text[dots] == '/');
}

/// Whether there is nothing to fold: most paths come from a listing or were completed before, and a
/// look is cheaper than taking them apart.
bool isNormal(std::string_view text) {
    if (text.empty()) {
        return true;
    }
    text.remove_prefix(text.front() == '/' ? 1 : 0);
    while (!beginsFolded(text)) {
        const std::size_t slash = text.find('/');
        if (slash == std::string_view::npos) {
            return true;
        }
        text.remove_prefix(slash + 1);
    }
    return false;
}

bool isAbsolute(std::string_view text) { return !text.empty() && text.front() == '/'; }

/// `text` with the separators that it begins with made one: two would begin the name of a host.
std::string withOneRoot(std::string_view text) {
    if (!isAbsolute(text)) {
        return std::string(text);
    }
    const std::size_t first = std::min(text.find_first_not_of('/'), text.size());
    return std::string(text.substr(first - 1));
}

/// With all folded that can be: nothing is above the root but the root. Not by Boost, which takes
/// any name of two characters with a dot in it for "..".
std::string folded(const fs::path& path) {
    return std::filesystem::path(withOneRoot(path.native())).lexically_normal().native();
}

}  // namespace

fs::path normalPath(const fs::path& path) { return isNormal(path.native()) ? path : folded(path); }

void removeEndingSlash(fs::path& path) {
    if (isNormal(path.native())) {
        return;
    }
    std::string text = folded(path);
    if (text.ends_with('/') || text == ".") {
        text.pop_back();
    }
    path = text;
}

fs::path completePath(const fs::path& path, const char* baseDir) {
    fs::path completed = path;
    removeEndingSlash(completed);
    if (isAbsolute(path.native())) {
        return completed.empty() ? "/" : completed;
    }
    const fs::path base = withOneRoot(baseDir ? baseDir : "");
    return isAbsolute(base.native()) ? base / completed : fs::current_path() / base / completed;
}

}  // namespace vesta2
