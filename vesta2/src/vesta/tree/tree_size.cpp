#include "vesta2/tree_size.h"

#include <boost/filesystem/operations.hpp>

namespace vesta2 {

namespace fs = boost::filesystem;

namespace {

/// Adds up `measure` over the regular files below `directory`, up to the first entry that fails in
/// a directory.
template <class Measure>
std::uint64_t sumOverFiles(const fs::path& directory, const Measure& measure) {
    std::uint64_t sum = 0;
    try {
        for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
            const fs::file_type type = entry.symlink_status().type();
            if (type == fs::directory_file) {
                sum += sumOverFiles(entry.path(), measure);
            } else if (type == fs::regular_file) {
                sum += measure(entry.path());
            }
        }
    } catch (const fs::filesystem_error&) {
        return sum;
    }
    return sum;
}

}  // namespace

std::uint64_t calcDirectoryFilesSize(const fs::path& directory) {
    return sumOverFiles(directory, [](const fs::path& file) { return fs::file_size(file); });
}

std::uint64_t calcDirectoryFilesCount(const fs::path& directory) {
    return sumOverFiles(directory, [](const fs::path&) { return std::uint64_t{1}; });
}

}  // namespace vesta2
