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

/// Of greater files no digest is taken: the program would wait for it.
inline constexpr long long greatestDigested = 128LL * 1024 * 1024;

/// "sha256:" and the digest of a file in hexadecimal digits. Raises `Failure` for what cannot be
/// read, and for what is no file or too great.
std::string digestOf(const std::string& path);

}  // namespace cli
