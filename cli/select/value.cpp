#include "select/value.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <cmath>
#include <ctime>
#include <limits>

#include "base/text.h"

namespace cli {
namespace {

struct Unit {
    std::string_view name;
    double factor;
};

constexpr std::int64_t day = 86400;

constexpr std::array durationUnits{
    Unit{"us", 1},   Unit{"ms", 1e3},   Unit{"s", 1e6},     Unit{"", 1e6},
    Unit{"m", 60e6}, Unit{"h", 3600e6}, Unit{"d", 86400e6}, Unit{"w", 7 * 86400e6},
};
constexpr std::array sizeUnits{
    Unit{"", 1},       Unit{"B", 1},      Unit{"K", 0x1p10}, Unit{"k", 0x1p10},
    Unit{"M", 0x1p20}, Unit{"G", 0x1p30}, Unit{"T", 0x1p40}, Unit{"P", 0x1p50},
};

/// A number without anything behind it.
template <class Number>
std::optional<Number> readWhole(const std::string& text) {
    Number value{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    // "nan" and "inf" are words.
    const bool isWord = text.empty() || text.find_first_not_of("0123456789+-.eE") != text.npos;
    const bool isNumber = error == std::errc() && stop == end && !isWord;
    return isNumber ? std::optional(value) : std::nullopt;
}

template <std::size_t count>
std::optional<Range> readQuantity(const std::string& text, const std::array<Unit, count>& units) {
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, std::chars_format::fixed);
    if (error != std::errc() || !std::isfinite(number)) {
        return std::nullopt;
    }
    for (const Unit& unit : units) {
        if (unit.name == std::string_view(stop, static_cast<std::size_t>(end - stop))) {
            const double value = number * unit.factor;
            if (std::fabs(value) >= 0x1p62) {
                return std::nullopt;
            }
            return Range{std::llround(value), std::llround(value)};
        }
    }
    return std::nullopt;
}

struct TimeForm {
    const char* format;
    std::int64_t seconds;  ///< that it stands for
    bool isUtc = false;
};

constexpr std::array timeForms{
    TimeForm{"%Y-%m-%d", day},
    TimeForm{"%Y-%m-%dT%H:%M", 60},
    TimeForm{"%Y-%m-%dT%H:%MZ", 60, true},
    TimeForm{"%Y-%m-%dT%H:%M:%S", 1},
    TimeForm{"%Y-%m-%dT%H:%M:%SZ", 1, true},
};

std::optional<Range> readTime(std::string text) {
    // A blank may stand between the day and the time.
    if (const std::size_t blank = text.find(' '); blank != std::string::npos) {
        text[blank] = 'T';
    }
    for (const TimeForm& form : timeForms) {
        std::tm parts{};
        const char* const end = ::strptime(text.c_str(), form.format, &parts);
        if (!end || end != text.data() + text.size()) {
            continue;
        }
        parts.tm_isdst = -1;
        const std::tm meant = parts;
        const std::int64_t begin = form.isUtc ? ::timegm(&parts) : ::mktime(&parts);
        // The 31st of a shorter month is no day.
        if (parts.tm_mday != meant.tm_mday) {
            return std::nullopt;
        }
        if (form.seconds != day) {
            return Range{begin, begin + form.seconds - 1};
        }
        // A day may have 23 hours, or 25.
        parts = meant;
        ++parts.tm_mday;
        return Range{begin, ::mktime(&parts) - 1};
    }
    return std::nullopt;
}

}  // namespace

std::optional<Range> readRange(Measure measure, const std::string& text) {
    switch (measure) {
    case Measure::number:
        if (const auto whole = readWhole<std::int64_t>(text)) {
            return Range{*whole, *whole};
        }
        break;
    case Measure::duration:
        return readQuantity(text, durationUnits);
    case Measure::size:
        return readQuantity(text, sizeUnits);
    case Measure::time:
        return readTime(text);
    case Measure::text:
    case Measure::any:
        break;
    }
    return std::nullopt;
}

int compareAny(const std::string& a, const std::string& b) {
    const auto order = [](auto one, auto other) { return one < other ? -1 : one > other; };
    const auto whole = std::pair(readWhole<std::int64_t>(a), readWhole<std::int64_t>(b));
    if (whole.first && whole.second) {
        return order(*whole.first, *whole.second);
    }
    const auto number = std::pair(readWhole<double>(a), readWhole<double>(b));
    if (number.first && number.second) {
        return order(*number.first, *number.second);
    }
    return a.compare(b);
}

namespace {

std::string textOf(const Value& value, std::string (*numberText)(std::int64_t number, Measure),
                   Measure measure) {
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
        return numberText(*number, measure);
    }
    if (const auto* texts = std::get_if<std::vector<std::string>>(&value)) {
        return fmt::format("{}", fmt::join(*texts, ","));
    }
    return std::holds_alternative<Unknown>(value) ? "?" : "";
}

}  // namespace

int compareValues(const Value& a, const Value& b) {
    if (!isPresent(a) || !isPresent(b)) {
        return static_cast<int>(isPresent(b)) - static_cast<int>(isPresent(a));
    }
    const auto* const one = std::get_if<std::int64_t>(&a);
    const auto* const other = std::get_if<std::int64_t>(&b);
    return one && other ? (*one < *other ? -1 : *one > *other)
                        : compareAny(exactText(a, Measure::any), exactText(b, Measure::any));
}

std::string exactText(const Value& value, Measure measure) {
    return textOf(
        value,
        [](std::int64_t number, Measure unit) {
            return unit == Measure::time ? utcTime(number) : std::to_string(number);
        },
        measure);
}

std::string humanText(const Value& value, Measure measure) {
    return textOf(
        value,
        [](std::int64_t number, Measure unit) {
            switch (unit) {
            case Measure::duration:
                return shortDuration(number);
            case Measure::size:
                return number < 0 ? std::to_string(number)
                                  : shortSize(static_cast<std::uint64_t>(number));
            case Measure::time:
                return localTime(number);
            default:
                return std::to_string(number);
            }
        },
        measure);
}

const char* descriptionOf(Measure measure) {
    switch (measure) {
    case Measure::number:
        return "a whole number";
    case Measure::duration:
        return "a duration such as 250ms, 2.5s, 90m, 12h or 3d";
    case Measure::size:
        return "a size such as 4096, 10K or 1.5G";
    case Measure::time:
        return "a day or a time such as 2026-01-31 or 2026-01-31T12:00";
    case Measure::text:
    case Measure::any:
        break;
    }
    return "a text";
}

}  // namespace cli
