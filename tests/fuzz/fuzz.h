#pragma once
/// What the targets share. A target takes any bytes, and ends the process when something is not as
/// it must be.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace fuzz {

/// The target.
void judge(std::string_view input);

inline void require(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    if (!holds) {
        std::fprintf(stderr, "%s:%d: does not hold\n", file, line);
        std::abort();
    }
}

/// Removes up to `size` bytes from the front of an input.
inline std::string takeText(std::string_view& input, std::size_t size) {
    std::string front(input.substr(0, size));
    input.remove_prefix(front.size());
    return front;
}

/// Removes a number from the front; zeros stand for bytes that are missing.
template <class Number>
Number takeNumber(std::string_view& input) {
    const std::string bytes = takeText(input, sizeof(Number));
    Number number{};
    std::memcpy(&number, bytes.data(), bytes.size());
    return number;
}

/// Removes a line, of which it gives no more than `size` bytes.
inline std::string takeLine(std::string_view& input, std::size_t size) {
    const std::string line = takeText(input, std::min(input.find('\n'), input.size()));
    takeText(input, 1);
    return line.substr(0, size);
}

}  // namespace fuzz
