#include "base/text.h"

#include "basekit2/utf8.h"
#include "fuzz.h"

namespace {

using fuzz::require;

void requireHarmless(std::string_view text) {
    while (!text.empty()) {
        const std::uint32_t c = basekit2::next_character(text);
        const bool isControl = c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0xFEFF ||
                               (c >= 0x200B && c <= 0x200F) || (c >= 0x2028 && c <= 0x202E) ||
                               (c >= 0x2060 && c <= 0x206F) || c >= basekit2::invalid_byte;
        require(!isControl);
    }
}

std::string unescape(const std::string& text) {
    constexpr std::string_view shortForms = "n\nt\tr\r\\\\";
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            out += text[i];
        } else if (text[++i] != 'x') {
            out += shortForms.at(shortForms.find(text[i]) + 1);
        } else {
            out += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        }
    }
    return out;
}

}  // namespace

void fuzz::judge(std::string_view input) {
    const int width = 1 + takeNumber<std::uint8_t>(input);
    const std::string text(input);
    const std::string escaped = cli::escapeText(text);
    requireHarmless(escaped);
    require(unescape(escaped) == text);
    const std::string fitted = cli::fitWidth(escaped, width);
    requireHarmless(fitted);
    require(cli::displayWidth(fitted) <= width && cli::fitWidth(fitted, width) == fitted);
    require(fitted == escaped ||
            (fitted.ends_with("…") && escaped.starts_with(fitted.substr(0, fitted.size() - 3))));
}
