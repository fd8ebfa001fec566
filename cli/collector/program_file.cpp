#include "collector/program_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string_view>

namespace cli {
namespace {

namespace fs = std::filesystem;

/// What is searched when there is no PATH.
std::string standardPath() {
    std::string path(::confstr(_CS_PATH, nullptr, 0), '\0');
    ::confstr(_CS_PATH, path.data(), path.size());
    path.resize(path.size() - 1);
    return path;
}

bool isExecutable(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           ::access(path.c_str(), X_OK) == 0;
}

}  // namespace

std::vector<std::string> placesOf(const std::string& program) {
    if (program.empty() || program.find('/') != std::string::npos) {
        return {program};
    }
    const char* const given = std::getenv("PATH");
    const std::string path = given ? given : standardPath();
    std::vector<std::string> places;
    for (std::size_t at = 0, end = 0; end != std::string::npos; at = end + 1) {
        end = path.find(':', at);
        const std::string directory = path.substr(at, end - at);
        // An empty one is the working directory.
        places.push_back((directory.empty() ? "." : directory) + "/" + program);
    }
    return places;
}

std::string findProgram(const std::string& program) {
    for (const std::string& place : placesOf(program)) {
        if (isExecutable(place)) {
            const fs::path path(place);
            std::error_code failed;
            const fs::path directory =
                path.is_absolute() ? path.parent_path() : fs::canonical(path.parent_path(), failed);
            return failed ? fs::absolute(path).native() : (directory / path.filename()).native();
        }
    }
    return {};
}

}  // namespace cli
