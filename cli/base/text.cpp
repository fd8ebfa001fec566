#include "base/text.h"

#include <fmt/format.h>
#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <ctime>

#include "basekit2/utf8.h"

namespace cli {
namespace {

bool isVisible(std::uint32_t character) {
    if (character >= basekit2::invalid_byte) {
        return false;
    }
    switch (utf8proc_category(static_cast<utf8proc_int32_t>(character))) {
    case UTF8PROC_CATEGORY_CN:  // unassigned
    case UTF8PROC_CATEGORY_CC:  // control
    case UTF8PROC_CATEGORY_CF:  // formatting, which can turn the direction of a line
    case UTF8PROC_CATEGORY_CS:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
        return false;
    default:
        return true;
    }
}

void appendEscaped(std::string& out, std::string_view bytes) {
    static constexpr std::array<std::pair<char, const char*>, 4> shortForms{
        {{'\\', "\\\\"}, {'\n', "\\n"}, {'\t', "\\t"}, {'\r', "\\r"}}};
    for (const char byte : bytes) {
        const auto* form = std::find_if(shortForms.begin(), shortForms.end(),
                                        [&](const auto& entry) { return entry.first == byte; });
        if (form != shortForms.end()) {
            out += form->second;
        } else {
            fmt::format_to(std::back_inserter(out), "\\x{:02X}", static_cast<unsigned char>(byte));
        }
    }
}

std::string formatTime(const std::tm& time, const char* format) {
    std::array<char, 64> text{};
    return {text.data(), std::strftime(text.data(), text.size(), format, &time)};
}

std::tm localParts(std::int64_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    ::localtime_r(&time, &parts);
    return parts;
}

}  // namespace

std::string escapeText(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const std::string_view before = text;
        const std::uint32_t character = basekit2::next_character(text);
        const std::string_view bytes = before.substr(0, before.size() - text.size());
        if (isVisible(character) && character != '\\') {
            out += bytes;
        } else {
            appendEscaped(out, bytes);
        }
    }
    return out;
}

int displayWidth(std::string_view escaped) {
    int width = 0;
    while (!escaped.empty()) {
        const std::uint32_t character = basekit2::next_character(escaped);
        width += utf8proc_charwidth(static_cast<utf8proc_int32_t>(character));
    }
    return width;
}

namespace {

/// Takes what is never cut from the front of `escaped`: a C escape, or a character with its marks.
std::string_view takeUnit(std::string_view& escaped) {
    const std::string_view before = escaped;
    if (escaped.front() == '\\') {
        escaped.remove_prefix(
            std::min<std::size_t>(escaped.starts_with("\\x") ? 4 : 2, escaped.size()));
    } else {
        basekit2::next_character(escaped);
    }
    for (std::string_view rest = escaped; !rest.empty(); escaped = rest) {
        const auto next = static_cast<utf8proc_int32_t>(basekit2::next_character(rest));
        if (utf8proc_charwidth(next) > 0) {
            break;
        }
    }
    return before.substr(0, before.size() - escaped.size());
}

/// The front of `escaped` that takes at most `width` columns.
std::string_view frontOf(std::string_view escaped, int width) {
    std::string_view rest = escaped;
    while (!rest.empty()) {
        std::string_view after = rest;
        width -= displayWidth(takeUnit(after));
        if (width < 0) {
            break;
        }
        rest = after;
    }
    return escaped.substr(0, escaped.size() - rest.size());
}

/// The end of `escaped` that takes at most `width` columns.
std::string_view endOf(std::string_view escaped, int width) {
    while (displayWidth(escaped) > width) {
        takeUnit(escaped);
    }
    return escaped;
}

}  // namespace

std::string fitWidth(const std::string& escaped, int width) {
    return displayWidth(escaped) <= width ? escaped
                                          : std::string(frontOf(escaped, width - 1)) + "…";
}

std::string fitWidthByMiddle(const std::string& escaped, int width) {
    if (displayWidth(escaped) <= width) {
        return escaped;
    }
    const int end = (width - 1) / 2;
    return std::string(frontOf(escaped, width - 1 - end)).append("…").append(endOf(escaped, end));
}

std::string asSentence(std::string text) {
    text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    return text + ".";
}

bool isCountedBefore(std::string_view a, std::string_view b) {
    // The digits at the front, without zeros before them; both are removed.
    const auto takeNumber = [](std::string_view& text) {
        const std::size_t end = std::min(text.find_first_not_of("0123456789"), text.size());
        const std::string_view digits = text.substr(0, end);
        text.remove_prefix(end);
        return digits.substr(std::min(digits.find_first_not_of('0'), digits.size()));
    };
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    std::string_view restA = a;
    std::string_view restB = b;
    while (!restA.empty() && !restB.empty()) {
        if (isDigit(restA.front()) && isDigit(restB.front())) {
            const std::string_view first = takeNumber(restA);
            const std::string_view second = takeNumber(restB);
            if (first != second) {
                return first.size() != second.size() ? first.size() < second.size()
                                                     : first < second;
            }
        } else if (restA.front() != restB.front()) {
            return restA < restB;
        } else {
            restA.remove_prefix(1);
            restB.remove_prefix(1);
        }
    }
    // Of "7" and "07" neither is less as a number.
    return restA.empty() && restB.empty() ? a < b : restA.empty();
}

std::string shellQuote(const std::string& word) {
    static constexpr std::string_view plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                              "0123456789%+,-./:=@_";
    if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) {
        return word;
    }
    std::string quoted = "'";
    for (const char byte : word) {
        if (byte == '\'') {
            quoted += "'\\''";
        } else {
            quoted += byte;
        }
    }
    return quoted + "'";
}

std::string shellQuote(const std::vector<std::string>& words) {
    std::string line;
    for (const std::string& word : words) {
        line += (line.empty() ? "" : " ") + shellQuote(word);
    }
    return line;
}

std::optional<std::pair<std::string, std::string>> splitAssignment(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0) {
        return std::nullopt;
    }
    return std::pair(text.substr(0, equals), text.substr(equals + 1));
}

std::string utcTime(std::int64_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    ::gmtime_r(&time, &parts);
    return formatTime(parts, "%Y-%m-%dT%H:%M:%SZ");
}

std::string localTime(std::int64_t seconds) {
    return formatTime(localParts(seconds), "%Y-%m-%d %H:%M");
}

std::string localDay(std::int64_t seconds) { return formatTime(localParts(seconds), "%Y-%m-%d"); }

std::string shortSize(std::uint64_t bytes) {
    static constexpr std::string_view units = "KMGTPE";
    if (bytes < 1024) {
        return std::to_string(bytes);
    }
    double size = static_cast<double>(bytes) / 1024;
    std::size_t unit = 0;
    while (size >= 999.5 && unit + 1 < units.size()) {
        size /= 1024;
        ++unit;
    }
    return fmt::format("{:.{}f}{}", size, size < 9.95 ? 1 : 0, units[unit]);
}

std::string shortDuration(std::int64_t microseconds) {
    if (microseconds < 0) {
        return "-" + shortDuration(-microseconds);
    }
    constexpr std::int64_t second = 1'000'000;
    const auto digits = [](double value) {
        return fmt::format("{:.{}f}", value, value < 9.995 ? 2 : value < 99.95 ? 1 : 0);
    };
    if (microseconds < 1000) {
        return std::to_string(microseconds) + "us";
    }
    if (microseconds < second - 500) {
        return digits(static_cast<double>(microseconds) / 1e3) + "ms";
    }
    if (microseconds < 60 * second - second / 20) {
        return digits(static_cast<double>(microseconds) / 1e6) + "s";
    }
    const std::int64_t seconds = (microseconds + second / 2) / second;
    if (seconds < 3600) {
        return fmt::format("{}m{:02}s", seconds / 60, seconds % 60);
    }
    if (seconds < 86400) {
        return fmt::format("{}h{:02}m", seconds / 3600, seconds / 60 % 60);
    }
    return fmt::format("{}d{:02}h", seconds / 86400, seconds / 3600 % 24);
}

std::string base64(std::string_view bytes) {
    static constexpr std::string_view digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::string_view group = bytes.substr(at, 3);
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            const auto byte = i < group.size() ? static_cast<unsigned char>(group[i]) : 0U;
            bits = bits << 8 | byte;
        }
        for (std::size_t i = 0; i < 4; ++i) {
            text += i <= group.size() ? digits[bits >> (18 - 6 * i) & 63U] : '=';
        }
    }
    return text;
}

}  // namespace cli
