#pragma once

#include <boost/filesystem/path.hpp>
#include <set>
#include <string>

namespace support {

/// A directory of its own for one test, deleted with all in it at the end.
class TempDirectory {
public:
    TempDirectory();
    ~TempDirectory();
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    [[nodiscard]] const boost::filesystem::path& path() const { return m_path; }
    /// The text of a path below the directory.
    [[nodiscard]] std::string operator/(const std::string& name) const {
        return (m_path / name).native();
    }

private:
    boost::filesystem::path m_path;
};

/// Writes `text` to the file at `path`, making the directories that lead to it.
void writeFile(const boost::filesystem::path& path, const std::string& text);
/// The bytes of the file at `path`; empty when it cannot be read.
std::string readFile(const boost::filesystem::path& path);
/// The names of all that is in `directory`.
std::set<std::string> namesIn(const boost::filesystem::path& directory);
/// The paths of all that is below `directory`, relative to it.
std::set<std::string> pathsBelow(const boost::filesystem::path& directory);

}  // namespace support
