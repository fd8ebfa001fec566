#pragma once
/// What selectors compare: the values of nodes, and how people write them.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace cli {

/// How the values of a key are written and compared.
enum class Measure {
    text,
    number,
    duration,  ///< microseconds: "250ms", "2.5s", "90m", "12h", "3d", "2w"; seconds without a unit
    size,      ///< bytes: "4096", "10K", "1.5G", by powers of 1,024
    time,      ///< seconds since the Epoch: "2026-01-31", "2026-01-31T12:00"; with "Z" not local
    any,       ///< see `compareAny`
};

/// Something that the node has, but that could not be read.
struct Unknown {};

/// Nothing where the node has none. A text may be one of several, such as tags.
using Value = std::variant<std::monostate, Unknown, std::int64_t, std::vector<std::string>>;

inline bool isPresent(const Value& value) { return value.index() > 1; }

/// What a text stands for: all from the first to the last, as a day does.
struct Range {
    std::int64_t first = 0;
    std::int64_t last = 0;
};

/// Nothing for a text that is none of that measure, or too great, and for what is no number.
std::optional<Range> readRange(Measure measure, const std::string& text);

/// How `a` is to `b`: less than 0, 0 or greater. As numbers when both are one, else by their bytes.
int compareAny(const std::string& a, const std::string& b);

/// The order of two values of one key: numbers by size, texts as `compareAny`; what has none, or
/// is unknown, comes behind all others.
int compareValues(const Value& a, const Value& b);

/// A value as programs read it: numbers in the measure's own unit, times in UTC, of several texts
/// all with commas between. Empty when there is none, "?" when it could not be read.
std::string exactText(const Value& value, Measure measure);
/// As people read it: "2.34s", "1.5M", and times where they are.
std::string humanText(const Value& value, Measure measure);

/// What may be written instead of a text that is none: "a duration such as 250ms, 2.5s or 3d".
const char* descriptionOf(Measure measure);

}  // namespace cli
