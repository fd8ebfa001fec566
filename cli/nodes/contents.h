#pragma once
/// Size and number of the files below a directory.

#include <cstdint>
#include <string>

namespace cli {

/// The regular files below a directory; symbolic links count nothing.
struct Contents {
    std::uint64_t bytes = 0;
    std::uint64_t files = 0;
};

/// Raises `std::filesystem::filesystem_error` for what cannot be looked at, where the library would
/// leave it out: a sum that lacks something is wrong.
Contents contentsOf(const std::string& directory);

}  // namespace cli
