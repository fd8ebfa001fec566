#pragma once
/// What a file system does, tried out with two processes.

#include <string>
#include <vector>

namespace cli {

struct Trial {
    enum class Outcome { yes, no, unknown };

    const char* name;
    Outcome outcome = Outcome::unknown;
    std::string detail;  ///< what was seen
    /// What vesta2 promises there, or not.
    std::string meaning;
    /// Whether a promise that users rely on rests on it.
    bool isNeeded = false;
};

/// "ext4", "tmpfs", or a number for one that has no name here.
std::string fileSystemOf(const std::string& directory);

/// Tries everything in a directory of its own below `directory`, which is gone afterwards. Takes
/// some seconds. Raises `Failure` when that directory cannot be made, and
/// `std::filesystem::filesystem_error` when it cannot be deleted.
std::vector<Trial> tryOut(const std::string& directory);

}  // namespace cli
