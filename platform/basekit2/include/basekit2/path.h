#pragma once
/// Paths as the utility functions take them, and wildcard matching of names.
///
/// Plain data: one object must not be changed by one thread while another uses it.

#include <string>
#include <string_view>
#include <utility>

#include "basekit2/export.h"

namespace basekit2 {

/// A path as bytes. Nothing here asks the disk but `readonly`. Layout: one string.
class BASEKIT2_API path_t {
public:
    path_t() = default;
    explicit path_t(std::string text) : m_text(std::move(text)) {}

    /// Returns: the path as it was given. Lifetime: until the object changes.
    [[nodiscard]] const std::string& text() const noexcept { return m_text; }
    [[nodiscard]] const char* c_str() const noexcept { return m_text.c_str(); }
    /// Returns: what follows the last "/", or the whole text. Lifetime: until the object changes.
    [[nodiscard]] std::string_view last_component() const noexcept;
    /// Returns: what precedes the last "/"; "/" for a child of the root; empty for a bare name.
    [[nodiscard]] path_t parent() const;
    /// Returns: the path of `name` below this one; `name` itself below an empty path.
    [[nodiscard]] path_t join(std::string_view name) const;

    /// Compares the whole text with a pattern: "*" stands for any run of characters, "?" for one,
    /// "[...]" for one of a set, "[!...]" and "[^...]" for one that is not in it. Characters are
    /// UTF-8; a byte that is part of none counts as one. The time is bounded by the product of the
    /// lengths.
    /// Returns: whether it matches. Deliberate: a pattern without any wildcard that begins with "."
    /// matches every text that ends with it; any other matches the equal text.
    [[nodiscard]] bool match(std::string_view pattern) const;

    /// Asks whether a file may be written. `*isReadOnly` becomes true when this process may not
    /// write to `path`, when its file system is mounted read-only, or when none of the write bits
    /// of its mode that are in `modeMask` is set; `*failed` when that cannot be told.
    static void readonly(const path_t& path, bool* isReadOnly, bool* failed, unsigned modeMask);

private:
    std::string m_text;
};

}  // namespace basekit2
