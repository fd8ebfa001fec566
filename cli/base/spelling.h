#pragma once
/// Guesses what a mistyped word was meant to be.

#include <string>
#include <vector>

namespace cli {

/// The candidate that `word` was probably meant to be, or nothing.
std::string nearest(const std::string& word, const std::vector<std::string>& candidates);

}  // namespace cli
