#include "basekit2/md5.h"

#include <md5.h>

#include <array>
#include <cstdint>

namespace basekit2 {

struct md5_t::state_t {
    MD5_CTX context{};
};

md5_t::md5_t() : m_state(std::make_unique<state_t>()) { MD5Init(&m_state->context); }
md5_t::~md5_t() = default;

void md5_t::update(std::string_view bytes) {
    MD5Update(&m_state->context, reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

std::string md5_t::get_digest_base16() {
    std::array<std::uint8_t, MD5_DIGEST_LENGTH> digest{};
    MD5Final(digest.data(), &m_state->context);
    constexpr char digits[] = "0123456789abcdef";
    std::string text(2 * digest.size(), '\0');
    for (std::size_t i = 0; i < digest.size(); ++i) {
        text[2 * i] = digits[digest[i] >> 4];
        text[2 * i + 1] = digits[digest[i] & 15];
    }
    return text;
}

}  // namespace basekit2
