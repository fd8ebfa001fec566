#pragma once
/// The MD5 digest, as a checksum that tells whether a file changed; it is no protection.
///
/// One object is for one thread at a time.

#include <memory>
#include <string>
#include <string_view>

#include "basekit2/export.h"

namespace basekit2 {

/// A digest that grows with what is added. Layout: one pointer.
class BASEKIT2_API md5_t {
public:
    md5_t();
    ~md5_t();
    md5_t(const md5_t&) = delete;
    md5_t& operator=(const md5_t&) = delete;

    /// Adds `bytes`.
    void update(std::string_view bytes);
    /// Ends the digest: nothing may be added afterwards.
    /// Returns: 32 lower-case hexadecimal digits.
    [[nodiscard]] std::string get_digest_base16();

private:
    struct state_t;
    std::unique_ptr<state_t> m_state;
};

}  // namespace basekit2
