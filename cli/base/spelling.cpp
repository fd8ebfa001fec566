#include "base/spelling.h"

#include <algorithm>
#include <numeric>
#include <string_view>

namespace cli {
namespace {

/// How many letters must be inserted, removed or replaced to get from one word to the other.
std::size_t distance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t replaced = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({row[j + 1] + 1, row[j] + 1, replaced});
        }
    }
    return row.back();
}

}  // namespace

std::string nearest(const std::string& word, const std::vector<std::string>& candidates) {
    std::string best;
    // Two slips, as many as a swap of letters counts; of a short word not all letters.
    std::size_t bestDistance = std::min(std::max<std::size_t>(word.size() / 3, 2) + 1, word.size());
    for (const std::string& candidate : candidates) {
        const bool isPrefix = word.size() > 1 && candidate.compare(0, word.size(), word) == 0;
        const std::size_t apart = isPrefix ? 1 : distance(word, candidate);
        if (apart < bestDistance) {
            best = candidate;
            bestDistance = apart;
        }
    }
    return best;
}

}  // namespace cli
