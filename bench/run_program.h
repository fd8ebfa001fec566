#pragma once

#include <string>
#include <vector>

namespace bench {

/// Runs a program to its end, with its output thrown away. Returns the MiB that it took at most.
/// Throws `std::runtime_error` when it cannot be run or fails.
double runProgram(std::vector<std::string> words);

}  // namespace bench
