#include "basekit2/utf8.h"

#include <utf8proc.h>

namespace basekit2 {

std::uint32_t next_multibyte_character(std::string_view& text) {
    const auto first = static_cast<unsigned char>(text.front());
    utf8proc_int32_t character = 0;
    const utf8proc_ssize_t length =
        utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                         static_cast<utf8proc_ssize_t>(text.size()), &character);
    if (length < 1) {
        text.remove_prefix(1);
        return invalid_byte + first;
    }
    text.remove_prefix(static_cast<std::size_t>(length));
    return static_cast<std::uint32_t>(character);
}

bool is_utf8(std::string_view text) {
    while (!text.empty()) {
        if (next_character(text) >= invalid_byte) {
            return false;
        }
    }
    return true;
}

}  // namespace basekit2
