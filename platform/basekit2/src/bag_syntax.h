#pragma once
/// What the reader and the writer of bags agree upon.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace basekit2 {

inline constexpr std::size_t max_levels = 64;
inline constexpr std::size_t max_bytes = std::size_t{16} << 20;
/// A value takes more memory than its text, which may be as short as "<bag n='a'/>".
inline constexpr std::size_t max_values = std::size_t{1} << 18;

/// How many bytes at the front of `text` are the name of an element or an attribute.
std::size_t name_length(std::string_view text);

/// Whether XML cannot hold this character of `next_character`. Such a string is written in another
/// form: "\x1B" for a byte, "\\" for a backslash.
bool needs_escape(std::uint32_t character);
bool needs_escapes(std::string_view text);
/// The string that was escaped; nothing when `text` is no such form.
std::optional<std::string> remove_escapes(std::string_view text);

}  // namespace basekit2
