#pragma once
/// What differs between results.

#include <cstdint>
#include <string>
#include <vector>

#include "basekit2/variant.h"
#include "compare/tolerance.h"
#include "nodes/description.h"

namespace cli {

struct ComparedResult {
    basekit2::sptr_t<vesta2::IResultDirectory> result;
    Description description;
};

/// Something that the results have, or some of them.
struct ComparedRow {
    const char* what;
    std::string name;
    std::vector<basekit2::variant_t> values;  ///< of each result; empty where it has none
    /// Whether it can make the results different. Times and measurements differ in any two runs:
    /// they are shown, and judged by a tolerance alone.
    bool isJudged = true;
    bool isDifferent = false;  ///< in any result from the first, by more than a tolerance
    /// Of a text file the first line that differs from the first result's; 0 where none is known.
    std::vector<std::int64_t> firstLines{};
};

/// Compares all results with the first, at least two of them. The rows that differ; with `wantsAll`
/// also the properties that are the same. What is judged comes first. Raises `Failure` for what
/// cannot be read, and for a tolerance of a key that no result has.
std::vector<ComparedRow> compareResults(const std::vector<ComparedResult>& results,
                                        const Tolerance& tolerance, bool wantsAll);

}  // namespace cli
