#pragma once
/// What the reader and the writer of bags agree upon.

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "basekit2/utf8.h"

namespace basekit2 {

/// How many bytes at the front of `text` are the name of an element or an attribute.
inline std::size_t name_length(std::string_view text) {
    std::size_t length = 0;
    for (const char c : text) {
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
        if (!letter && (length == 0 || ((c < '0' || c > '9') && c != '-' && c != '.'))) {
            break;
        }
        ++length;
    }
    return length;
}

/// Whether XML cannot hold this character of `next_character`. Such a string is written in another
/// form: "\x1B" for a byte, "\\" for a backslash.
inline bool needs_escape(std::uint32_t character) {
    return character < 0x20 || character == 0x7F || character == 0xFFFE || character == 0xFFFF ||
           character >= invalid_byte;
}

inline bool needs_escapes(std::string_view text) {
    // Most texts are printable ASCII from end to end.
    bool is_plain = true;
    for (const char c : text) {
        is_plain = is_plain && c >= 0x20 && c < 0x7F;
    }
    if (is_plain) {
        return false;
    }
    while (!text.empty()) {
        if (needs_escape(next_character(text))) {
            return true;
        }
    }
    return false;
}

/// The string that was escaped; nothing when `text` is no such form.
inline std::optional<std::string> remove_escapes(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        if (text.front() != '\\') {
            out += text.front();
            text.remove_prefix(1);
        } else if (text.substr(0, 2) == "\\\\") {
            out += '\\';
            text.remove_prefix(2);
        } else {
            unsigned byte = 0;
            if (text.size() < 4 || text[1] != 'x' ||
                std::from_chars(text.data() + 2, text.data() + 4, byte, 16).ptr !=
                    text.data() + 4) {
                return std::nullopt;
            }
            out += static_cast<char>(byte);
            text.remove_prefix(4);
        }
    }
    return out;
}

}  // namespace basekit2
