#include "platkit/i18n.h"

#include <charconv>

namespace platkit::i18n {

std::string message_t::as_ustring(const varg_list& arguments) const {
    std::string out;
    const char* const end = m_text.data() + m_text.size();
    for (const char* at = m_text.data(); at != end;) {
        std::size_t place = 0;
        if (*at == '{') {
            const auto [stop, error] = std::from_chars(at + 1, end, place);
            if (error == std::errc() && stop != end && *stop == '}' && place < arguments.size()) {
                out += arguments[place];
                at = stop + 1;
                continue;
            }
        }
        out += *at++;
    }
    return out;
}

message_t catalog_t::message(const std::string& key) const {
    const auto found = m_texts.find(key);
    return message_t(found == m_texts.end() ? key : found->second);
}

}  // namespace platkit::i18n
