#include <boost/filesystem/path.hpp>
#include <filesystem>
#include <sstream>
#include <vector>

#include "basekit2/path.h"
#include "fuzz.h"
#include "vesta/foundation/path_parts.h"
#include "vesta2/names.h"
#include "vesta2/path_completion.h"

namespace {

/// Component by component; what a path ends with is left out.
std::string folded(const std::string& text, std::string base) {
    std::vector<std::string> names;
    std::istringstream stream(text);
    const bool isAbsolute = text.starts_with('/');
    for (std::string name; std::getline(stream, name, '/');) {
        if (name == ".." && !names.empty() && names.back() != "..") {
            names.pop_back();
        } else if (!name.empty() && name != "." && (name != ".." || !isAbsolute)) {
            names.push_back(name);
        }
    }
    base = isAbsolute ? "" : base;
    for (const std::string& name : names) {
        base += (base.empty() && !isAbsolute ? "" : "/") + name;
    }
    return base;
}

}  // namespace

void fuzz::judge(std::string_view input) {
    const std::string text(input.substr(0, input.find('\0')));
    boost::filesystem::path path = text;
    vesta2::removeEndingSlash(path);
    require(path.native() == folded(text, ""));
    path = vesta2::normalPath(text);
    require(folded(path.native(), "") == folded(text, "") && path == vesta2::normalPath(path));
    const std::string whole = vesta2::completePath(text, "//base").native();
    require(whole == folded(text, "/base") || (whole == "/" && folded(text, "/base").empty()));

    const std::filesystem::path model = whole;
    require(vesta2::nameIn(whole) == model.filename().native());
    require(vesta2::parentOf(whole) == (whole == "/" ? "" : model.parent_path().native()));
    const basekit2::path_t parts(whole);
    require(parts.parent().join(parts.last_component()).text() == whole);

    const bool isBad = text.empty() || text.find_first_of("<>:\"/\\|?*") != text.npos ||
                       text.ends_with('.') || text.ends_with(' ');
    require((vesta2::validateFileName(text.c_str()) == vesta2::eOK) ==
            (!isBad || text == "." || text == ".."));
}
