#pragma once
/// The file of a program that is to be run.

#include <string>
#include <vector>

namespace cli {

/// Where a program of that name is looked for, in this order: the name itself when it has a slash,
/// else the places that PATH tells.
std::vector<std::string> placesOf(const std::string& program);

/// The absolute path of the file that is run for `program`; empty when there is none.
std::string findProgram(const std::string& program);

}  // namespace cli
