#pragma once
/// Which results of a series are kept when it is cleaned up.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace cli {

/// What is to be kept. What several rules say is kept by any of them, but for the greatest size,
/// which takes from what the others keep.
struct Retention {
    std::optional<int> last;             ///< so many of the last by name
    std::optional<std::int64_t> within;  ///< in microseconds, up to now
    // The newest of each of so many days, weeks and months that have one.
    std::optional<int> daily;
    std::optional<int> weekly;
    std::optional<int> monthly;
    std::vector<std::string> tags;
    std::optional<std::int64_t> greatestSize;  ///< of all that are kept, in bytes

    [[nodiscard]] bool isEmpty() const;
};

/// A result, as far as it matters here.
struct Candidate {
    std::string marker;
    std::string name;
    std::int64_t time = 0;  ///< in seconds since the Epoch; 0 when unknown
    std::vector<std::string> tags;
    bool isInvalid = false;  ///< counts as none of the last, nor of a day
    std::int64_t size = 0;   ///< in bytes; needed for `Retention::greatestSize` alone
    std::string exemption;   ///< why it is kept whatever the rules say; empty for most
    bool isUnknown = false;  ///< because it could not be looked at

    bool isKept = false;
    std::string reason;
};

/// Sets `isKept` and `reason` of each. `candidates` are in the order of their names, `now` is in
/// seconds since the Epoch, and days are those where we are.
void judge(std::vector<Candidate>& candidates, const Retention& retention, std::int64_t now);

}  // namespace cli
