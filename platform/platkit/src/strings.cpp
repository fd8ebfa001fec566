#include "platkit/strings.h"

#include <utf8proc.h>

#include <array>
#include <charconv>

#include "basekit2/utf8.h"

namespace platkit {

std::string strings::to_upper(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const std::string_view before = text;
        const std::uint32_t character = basekit2::next_character(text);
        if (character >= basekit2::invalid_byte) {
            out += before.front();
            continue;
        }
        std::array<utf8proc_uint8_t, 4> bytes{};
        const utf8proc_ssize_t length = utf8proc_encode_char(
            utf8proc_toupper(static_cast<utf8proc_int32_t>(character)), bytes.data());
        out.append(reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(length));
    }
    return out;
}

int generic_convert(std::string_view text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? value : 0;
}

}  // namespace platkit
