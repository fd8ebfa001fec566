#pragma once
/// Conversions between values and text.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace cli {

/// `text` in visible UTF-8: control and formatting characters, line ends, invalid bytes and the
/// backslash become C escapes. A file name can then neither control a terminal nor break a line.
std::string escapeText(std::string_view text);

/// Columns that an escaped text takes on a terminal.
int displayWidth(std::string_view escaped);
/// `escaped`, cut to `width` columns with an ellipsis at its end when it is wider.
std::string fitWidth(const std::string& escaped, int width);
/// As `fitWidth`, with the ellipsis in the middle: the ends of names differ most.
std::string fitWidthByMiddle(const std::string& escaped, int width);

/// "Run it." of "run it".
std::string asSentence(std::string text);

/// Orders names as people count: digits by the number that they stand for, all else by bytes.
bool isCountedBefore(std::string_view a, std::string_view b);

/// Words quoted for a POSIX shell.
std::string shellQuote(const std::vector<std::string>& words);
std::string shellQuote(const std::string& word);

/// The parts of NAME=VALUE; nothing when there is no "=" or no name.
std::optional<std::pair<std::string, std::string>> splitAssignment(const std::string& text);

/// "2026-01-31T12:00:00Z".
std::string utcTime(std::int64_t seconds);
/// "2026-01-31 13:00", in the local time zone.
std::string localTime(std::int64_t seconds);
/// The day alone, "2026-01-31", in the local time zone.
std::string localDay(std::int64_t seconds);

/// "1.5M": three digits and a binary unit.
std::string shortSize(std::uint64_t bytes);

/// "2.34s", "250ms", "2m05s", "3h12m" or "4d03h": three digits or two units.
std::string shortDuration(std::int64_t microseconds);

std::string base64(std::string_view bytes);

}  // namespace cli
