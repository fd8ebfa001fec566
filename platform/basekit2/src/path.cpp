#include "basekit2/path.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "basekit2/utf8.h"

namespace basekit2 {
namespace {

using characters_t = std::vector<std::uint32_t>;

characters_t decode(std::string_view text) {
    characters_t characters;
    characters.reserve(text.size());
    while (!text.empty()) {
        characters.push_back(next_character(text));
    }
    return characters;
}

/// One element of a pattern that stands for exactly one character.
struct one_t {
    bool matches;
    std::size_t length;  ///< how much of the pattern it takes
};

/// Matches `c` against the set that opens at `pattern[at]`. A "[" that is never closed stands for
/// itself.
one_t match_set(const characters_t& pattern, std::size_t at, std::uint32_t c) {
    std::size_t i = at + 1;
    const bool negated = i < pattern.size() && (pattern[i] == '!' || pattern[i] == '^');
    if (negated) {
        ++i;
    }
    bool found = false;
    for (bool first = true; i < pattern.size(); first = false) {
        if (pattern[i] == ']' && !first) {
            return {found != negated, i + 1 - at};
        }
        const bool range = i + 2 < pattern.size() && pattern[i + 1] == '-' && pattern[i + 2] != ']';
        const std::uint32_t last = pattern[range ? i + 2 : i];
        found = found || (pattern[i] <= c && c <= last);
        i += range ? 3 : 1;
    }
    return {c == '[', 1};
}

one_t match_one(const characters_t& pattern, std::size_t at, std::uint32_t c) {
    if (pattern[at] == '?') {
        return {true, 1};
    }
    if (pattern[at] == '[') {
        return match_set(pattern, at, c);
    }
    return {pattern[at] == c, 1};
}

/// Only the last "*" is ever retried, so that the work is bounded by pattern times text.
bool match_wildcards(const characters_t& pattern, const characters_t& text) {
    constexpr std::size_t none = static_cast<std::size_t>(-1);
    std::size_t p = 0;
    std::size_t t = 0;
    std::size_t star = none;
    std::size_t resume = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = ++p;
            resume = t;
            continue;
        }
        const one_t one = p < pattern.size() ? match_one(pattern, p, text[t]) : one_t{false, 0};
        if (one.matches) {
            p += one.length;
            ++t;
        } else if (star != none) {
            p = star;
            t = ++resume;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*') {
        ++p;
    }
    return p == pattern.size();
}

constexpr const char* wildcards = "*?[";

/// Whether `pattern` asks for nothing but an end that begins with an ASCII character, at which no
/// other character can go on: then the bytes tell. Most patterns of files are like this.
bool is_plain_end(std::string_view pattern) {
    return pattern.size() > 1 && pattern[0] == '*' &&
           static_cast<unsigned char>(pattern[1]) < 0x80 &&
           pattern.find_first_of(wildcards, 1) == std::string_view::npos;
}

}  // namespace

std::string_view path_t::last_component() const noexcept {
    const std::string_view text = m_text;
    return text.substr(text.rfind('/') + 1);
}

path_t path_t::parent() const {
    const std::size_t slash = m_text.rfind('/');
    if (slash == std::string::npos) {
        return path_t();
    }
    return path_t(m_text.substr(0, slash == 0 ? 1 : slash));
}

path_t path_t::join(std::string_view name) const {
    std::string text = m_text;
    if (!text.empty() && text.back() != '/') {
        text += '/';
    }
    return path_t(text.append(name));
}

bool path_t::match(std::string_view pattern) const {
    if (is_plain_end(pattern)) {
        return m_text.ends_with(pattern.substr(1));
    }
    if (pattern.find_first_of(wildcards) != std::string_view::npos) {
        return match_wildcards(decode(pattern), decode(m_text));
    }
    return pattern.starts_with('.') ? m_text.ends_with(pattern) : m_text == pattern;
}

void path_t::readonly(const path_t& path, bool* isReadOnly, bool* failed, unsigned modeMask) {
    *isReadOnly = false;
    struct stat info {};
    *failed = ::stat(path.c_str(), &info) != 0;
    if (*failed) {
        return;
    }
    constexpr unsigned write_bits = S_IWUSR | S_IWGRP | S_IWOTH;
    if ((info.st_mode & modeMask & write_bits) == 0) {
        *isReadOnly = true;
    } else if (::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0) {
        *isReadOnly = errno == EACCES || errno == EROFS;
        *failed = !*isReadOnly;
    }
}

}  // namespace basekit2
