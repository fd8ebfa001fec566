#pragma once
/// What the library is asked to do when it is measured. Each throws `std::runtime_error` when it
/// cannot.

#include <cstddef>
#include <cstdint>
#include <string>

#include "vesta2/i_result_directory.h"

namespace bench {

/// About what a new marker file holds.
inline const std::string markerText(330, 'x');

/// Makes results of the names r00000, r00001, ... in `directory`.
void createResults(const std::string& directory, std::size_t count);

std::string resultPath(const std::string& directory, std::size_t number);

using Result = basekit2::sptr_t<vesta2::IResultDirectory>;
Result openResult(const std::string& path);

/// Opens those from `begin` to before `end`.
void openResults(const std::string& directory, std::size_t begin, std::size_t end);

/// Opens all results of `directory` as a listing does. Returns how many there are.
std::size_t listResults(const std::string& directory);

/// The same with all open at the end.
std::size_t holdResults(const std::string& directory);

/// Finds the nodes in `directory`. Returns how many there are.
std::size_t findResults(const std::string& directory);

/// Copies the results in `directory`, of the names r00000, r00001, ..., in turn until there are
/// `count`, each with all that a collector left in it.
void multiplyResults(const std::string& directory, std::size_t count);

/// Saves the result so many times, each time with something new if `isChanged`.
void saveResult(const Result& result, std::size_t count, bool isChanged);

/// Claims a flag of the result and gives it up, so many times.
void claimFlag(const Result& result, std::size_t count);

/// Makes the directory `to`, and copies to there what is in `from`.
void copyTree(const std::string& from, const std::string& to);

/// The bytes of all files in `directory`.
std::uint64_t sizeOf(const std::string& directory);

}  // namespace bench
