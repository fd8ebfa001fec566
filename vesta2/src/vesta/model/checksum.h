#pragma once

#include <optional>
#include <string>
#include <utility>

#include "basekit2/md5.h"

namespace vesta2 {

/// The checksum of a marker file's text, for the links that lead to it: lower-case hexadecimal MD5.
/// Most nodes have none, so it is worked out when it is asked for; till then the text is kept. One
/// object is for one thread at a time: that of a node for who holds the registry's mutex.
class Checksum {
public:
    /// Of a file that could not be read: empty.
    Checksum() = default;
    explicit Checksum(std::string digits) : m_digits(std::move(digits)) {}
    static Checksum ofText(std::string text) {
        Checksum checksum;
        checksum.m_text = std::move(text);
        return checksum;
    }

    /// Valid until the object changes.
    [[nodiscard]] const std::string& digits() const {
        if (m_text) {
            basekit2::md5_t md5;
            md5.update(*m_text);
            m_digits = md5.get_digest_base16();
            m_text.reset();
        }
        return m_digits;
    }

private:
    mutable std::optional<std::string> m_text;
    mutable std::string m_digits;
};

}  // namespace vesta2
