#include "support/temp_directory.h"

#include <stdlib.h>

#include <boost/filesystem/operations.hpp>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace support {

namespace fs = boost::filesystem;

TempDirectory::TempDirectory() {
    std::string pattern = (fs::temp_directory_path() / "vesta2-test-XXXXXX").native();
    if (!::mkdtemp(pattern.data())) {
        throw std::runtime_error("cannot make a directory for the test: " + pattern);
    }
    m_path = fs::canonical(pattern);
}

TempDirectory::~TempDirectory() {
    boost::system::error_code ignored;
    fs::remove_all(m_path, ignored);
}

void writeFile(const fs::path& path, const std::string& text) {
    fs::create_directories(fs::absolute(path).parent_path());
    std::ofstream(path.native(), std::ios::binary) << text;
}

std::string readFile(const fs::path& path) {
    std::ifstream file(path.native(), std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::set<std::string> namesIn(const fs::path& directory) {
    std::set<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
        names.insert(entry.path().filename().native());
    }
    return names;
}

std::set<std::string> pathsBelow(const fs::path& directory) {
    std::set<std::string> paths;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(directory)) {
        paths.insert(entry.path().lexically_relative(directory).native());
    }
    return paths;
}

}  // namespace support
