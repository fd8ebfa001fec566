#pragma once
/// Paths as the utility functions take them, and wildcard matching of names.

#include <string>
#include <string_view>
#include <utility>

#include "basekit2/export.h"

namespace basekit2 {

/// A path as bytes. Plain data.
class BASEKIT2_API path_t {
public:
    path_t() = default;
    explicit path_t(std::string text) : m_text(std::move(text)) {}

    [[nodiscard]] const std::string& text() const noexcept { return m_text; }
    [[nodiscard]] const char* c_str() const noexcept { return m_text.c_str(); }
    /// What follows the last "/", or the whole text.
    [[nodiscard]] std::string_view last_component() const noexcept;
    /// What precedes the last "/"; "/" for a child of the root; empty for a bare name.
    [[nodiscard]] path_t parent() const;
    /// This path with `name` below it.
    [[nodiscard]] path_t join(std::string_view name) const;

    /// Whether the whole text matches `pattern`: "*" any run, "?" one character, "[...]" one of a
    /// set ("[!...]" or "[^...]" one not in it). Characters are UTF-8; a byte that is not counts as
    /// one. A pattern without any wildcard matches the text itself, and one that also begins with
    /// "." every text that ends with it.
    [[nodiscard]] bool match(std::string_view pattern) const;

    /// Sets `*isReadOnly` when this process may not write to `path`, when its file system is
    /// mounted read-only, or when none of the write bits of its mode that are in `modeMask` is set;
    /// sets
    /// `*failed` when that cannot be told.
    static void readonly(const path_t& path, bool* isReadOnly, bool* failed, unsigned modeMask);

private:
    std::string m_text;
};

}  // namespace basekit2
