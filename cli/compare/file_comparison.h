#pragma once
/// Which files of two results differ.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "basekit2/variant.h"

namespace cli {

struct FileDifference {
    std::string path;  ///< below the result's directory
    /// What is there, empty when nothing is: the size of a regular file in bytes, else the kind.
    basekit2::variant_t before;
    basekit2::variant_t after;
    /// Of two texts the first line that differs, from 1; 0 for anything else.
    std::int64_t firstLine = 0;
};

/// Everything below the two directories, but for what the library keeps there itself (marker, state
/// and flag files). Sizes are compared first, then bytes, in pieces; symbolic links by their
/// targets. Raises `Failure` or `std::filesystem::filesystem_error` for what cannot be read.
std::vector<FileDifference> compareFiles(const std::string& before, const std::string& after);

}  // namespace cli
