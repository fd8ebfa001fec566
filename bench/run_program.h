#pragma once

#include <string>
#include <vector>

namespace bench {

/// Runs a program to its end, with its output thrown away. Throws `std::runtime_error` when
/// it cannot be run or fails.
void runProgram(std::vector<std::string> words);

}  // namespace bench
