#include "compare/tolerance.h"

#include <charconv>
#include <cmath>

#include "base/failure.h"
#include "base/text.h"
#include "nodes/properties.h"

namespace cli {
namespace {

std::optional<double> readNumber(std::string_view text) {
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    const bool isNumber = error == std::errc() && stop == end && std::isfinite(number);
    return isNumber ? std::optional(number) : std::nullopt;
}

/// The property that a fact of a selector stands for.
std::string propertyFor(const std::string& name) {
    return name == "elapsed" ? key::elapsed : name == "memory" ? key::peakMemory : name;
}

}  // namespace

std::optional<double> numberIn(const basekit2::variant_t& value) {
    if (value.empty() || value.as_bag()) {
        return std::nullopt;
    }
    return readNumber(valueText(value));
}

std::optional<double> percentOf(const basekit2::variant_t& from, const basekit2::variant_t& to) {
    const std::optional<double> old = numberIn(from);
    const std::optional<double> now = numberIn(to);
    return old && now && *old != 0 ? std::optional((*now - *old) / std::fabs(*old) * 100)
                                   : std::nullopt;
}

Tolerance::Tolerance(const std::vector<std::string>& texts) {
    for (const std::string& text : texts) {
        const auto parts = splitAssignment(text);
        const std::string& limit = parts ? parts->second : text;
        const bool isPercent = limit.ends_with("%");
        const auto number = readNumber(std::string_view(limit).substr(0, limit.size() - 1));
        if (!isPercent || !number || *number < 0) {
            throw Failure(exitUsage, {}, "--tolerance " + shellQuote(text) + " is no tolerance",
                          "write it as in --tolerance 5% or --tolerance elapsed=2%");
        }
        if (parts) {
            m_forKeys[propertyFor(parts->first)] = *number;
        } else {
            m_forAll = *number;
        }
    }
}

std::optional<double> Tolerance::of(const std::string& key, bool isMeasurement) const {
    const auto found = m_forKeys.find(key);
    if (found != m_forKeys.end()) {
        return found->second;
    }
    return isMeasurement ? m_forAll : std::nullopt;
}

std::vector<std::string> Tolerance::keys() const {
    std::vector<std::string> keys;
    for (const auto& [key, percent] : m_forKeys) {
        keys.push_back(key);
    }
    return keys;
}

bool isWithin(double percent, const basekit2::variant_t& reference,
              const basekit2::variant_t& value) {
    const std::optional<double> from = numberIn(reference);
    const std::optional<double> to = numberIn(value);
    // Without two numbers nothing but equality is near.
    return reference == value ||
           (from && to && std::fabs(*to - *from) <= std::fabs(*from) * percent / 100);
}

}  // namespace cli
