#include "vesta2/file_set.h"

#include <boost/filesystem/path.hpp>
#include <string_view>

namespace vesta2 {
namespace {

bool endsWithName(const std::string& path) { return !path.empty() && path.back() != '/'; }

std::string_view lastComponent(const std::string& path) {
    return std::string_view(path).substr(path.rfind('/') + 1);
}

}  // namespace

bool FileSetBaseFilenameCompare::operator()(const std::string& a, const std::string& b) const {
    if (endsWithName(a) && endsWithName(b)) {
        return lastComponent(a) < lastComponent(b);
    }
    return boost::filesystem::path(a).filename().compare(boost::filesystem::path(b).filename()) < 0;
}

FileSet::FileSet(std::string a, std::string b, std::string c) {
    for (std::string* member : {&a, &b, &c}) {
        if (!member->empty()) {
            insert(std::move(*member));
        }
    }
}

}  // namespace vesta2
