#include "basekit2/files.h"

#include <unistd.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>

namespace basekit2 {
namespace {

namespace fs = boost::filesystem;

void collect(const fs::path& directory, std::string_view mask, bool recursive,
             std::vector<path_t>& found) {
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
        if (entry.symlink_status().type() == fs::directory_file) {
            if (recursive) {
                collect(entry.path(), mask, recursive, found);
            }
        } else if (path_t(entry.path().filename().native()).match(mask)) {
            found.emplace_back(entry.path().native());
        }
    }
}

}  // namespace

std::vector<path_t> find_files(const path_t& directory, std::string_view mask, bool recursive) {
    std::vector<path_t> found;
    collect(directory.text(), mask, recursive, found);
    std::sort(found.begin(), found.end(),
              [](const path_t& a, const path_t& b) { return a.text() < b.text(); });
    return found;
}

bool remove_file(const path_t& path) { return ::unlink(path.c_str()) == 0; }

}  // namespace basekit2
