#pragma once
/// Byte strings taken as UTF-8 that may be damaged.
///
/// Any thread may call any function.

#include <cstdint>
#include <string_view>

#include "basekit2/export.h"

namespace basekit2 {

/// First value that no code point has: a byte `b` that is not UTF-8 decodes as `invalid_byte + b`.
inline constexpr std::uint32_t invalid_byte = 0x110000;

/// As `next_character`, for a first byte that is not ASCII.
/// Returns: a code point, or the value of a byte that is part of none.
BASEKIT2_API std::uint32_t next_multibyte_character(std::string_view& text);

/// Decodes the first character of `text`, which must not be empty, and removes it from `text`.
/// Of damaged text one byte is removed.
/// Returns: the code point, or `invalid_byte` plus the byte.
inline std::uint32_t next_character(std::string_view& text) {
    const auto first = static_cast<unsigned char>(text.front());
    if (first >= 0x80) {
        return next_multibyte_character(text);
    }
    text.remove_prefix(1);
    return first;
}

/// Returns: whether `text` is UTF-8 from end to end.
BASEKIT2_API bool is_utf8(std::string_view text);

}  // namespace basekit2
