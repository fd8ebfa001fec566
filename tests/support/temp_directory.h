#pragma once

#include <boost/filesystem/operations.hpp>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>

namespace support {

namespace fs = boost::filesystem;

/// A directory of its own for one test, deleted with all in it at the end.
class TempDirectory {
public:
    TempDirectory() {
        std::string pattern = (fs::temp_directory_path() / "vesta2-test-XXXXXX").native();
        if (!::mkdtemp(pattern.data())) {
            throw std::runtime_error("cannot make a directory for the test: " + pattern);
        }
        m_path = fs::canonical(pattern);
    }
    ~TempDirectory() {
        boost::system::error_code ignored;
        fs::remove_all(m_path, ignored);
    }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    [[nodiscard]] const fs::path& path() const { return m_path; }
    /// The text of a path below the directory.
    [[nodiscard]] std::string operator/(const std::string& name) const {
        return (m_path / name).native();
    }

private:
    fs::path m_path;
};

/// Writes `text` to the file at `path`, making the directories that lead to it.
inline void writeFile(const fs::path& path, const std::string& text) {
    fs::create_directories(fs::absolute(path).parent_path());
    std::ofstream(path.native(), std::ios::binary) << text;
}

/// The bytes of the file at `path`; empty when it cannot be read.
inline std::string readFile(const fs::path& path) {
    std::ifstream file(path.native(), std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

/// All that was written to a file that may have no name.
inline std::string readDescriptor(int file) {
    return readFile("/proc/self/fd/" + std::to_string(file));
}

/// The names of all that is in `directory`.
inline std::set<std::string> namesIn(const fs::path& directory) {
    std::set<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
        names.insert(entry.path().filename().native());
    }
    return names;
}

/// The paths of all that is below `directory`, relative to it.
inline std::set<std::string> pathsBelow(const fs::path& directory) {
    std::set<std::string> paths;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(directory)) {
        paths.insert(entry.path().lexically_relative(directory).native());
    }
    return paths;
}

}  // namespace support
