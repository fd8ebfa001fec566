#pragma once
/// By how much a number may differ and still count as the same.

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "basekit2/variant.h"

namespace cli {

/// The value as a number; of a text only what is one as a whole.
std::optional<double> numberIn(const basekit2::variant_t& value);

/// (to - from) / from * 100; nothing where that is no number.
std::optional<double> percentOf(const basekit2::variant_t& from, const basekit2::variant_t& to);

class Tolerance {
public:
    /// From texts such as "5%", for all measurements, and "elapsed=2%" for one key. Raises
    /// `Failure` for anything else.
    explicit Tolerance(const std::vector<std::string>& texts);

    /// In percent; nothing for a key that was not named, when it is no measurement.
    [[nodiscard]] std::optional<double> of(const std::string& key, bool isMeasurement) const;
    /// The keys that were named.
    [[nodiscard]] std::vector<std::string> keys() const;

private:
    std::optional<double> m_forAll;
    std::map<std::string, double> m_forKeys;
};

/// Whether `value` is the same as `reference`, or differs by no more than `percent` of it.
bool isWithin(double percent, const basekit2::variant_t& reference,
              const basekit2::variant_t& value);

}  // namespace cli
