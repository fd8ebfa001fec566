#include <utf8proc.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <optional>

#include "bag_syntax.h"
#include "basekit2/bag_io.h"
#include "basekit2/utf8.h"

namespace basekit2 {
namespace {

constexpr bool is_white(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

/// Appends the character that `name` stands for between "&" and ";".
bool append_reference(std::string& out, std::string_view name) {
    constexpr std::string_view known[] = {"amp&", "lt<", "gt>", "quot\"", "apos'"};
    for (const std::string_view entity : known) {
        if (name == entity.substr(0, entity.size() - 1)) {
            out += entity.back();
            return true;
        }
    }
    const bool hex = name.starts_with("#x");
    const std::string_view digits = name.substr(name.empty() ? 0 : hex ? 2 : 1);
    std::uint32_t character = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), character, hex ? 16 : 10);
    if (!name.starts_with('#') || error != std::errc() || end != digits.data() + digits.size() ||
        character >= invalid_byte) {
        return false;
    }
    std::array<utf8proc_uint8_t, 4> bytes{};
    const utf8proc_ssize_t length =
        utf8proc_encode_char(static_cast<utf8proc_int32_t>(character), bytes.data());
    out.append(reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(length));
    return true;
}

/// What the text of an element or an attribute stands for: mostly itself, else it is put into
/// `room`. Nothing when it holds what has to be escaped.
std::optional<std::string_view> decode(std::string_view text, std::string& room) {
    std::size_t at = text.find('&');
    if (at == text.npos) {
        return needs_escapes(text) ? std::nullopt : std::optional(text);
    }
    room.clear();
    for (; at != text.npos; at = text.find('&')) {
        const std::size_t end = text.find(';', at);
        room.append(text.substr(0, at));
        if (end == text.npos || !append_reference(room, text.substr(at + 1, end - at - 1))) {
            return std::nullopt;
        }
        text.remove_prefix(end + 1);
    }
    room.append(text);
    return needs_escapes(room) ? std::nullopt : std::optional<std::string_view>(room);
}

/// The number, as the writer writes it and no other way.
template <class Integer>
std::optional<variant_t> to_number(std::string_view text) {
    Integer value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const std::size_t first_digit = text.starts_with('-') ? 1 : 0;
    const bool leading_zero = text.substr(first_digit, 1) == "0" && text.size() > 1;
    if (error != std::errc() || end != text.data() + text.size() || leading_zero) {
        return std::nullopt;
    }
    return variant_t(value);
}

struct tag_t {
    std::string_view element;
    std::optional<std::string> name;
    std::optional<std::string> version;
    bool escaped = false;
    bool ends_itself = false;
};

/// Reads the text once, from front to back, into the bag: memory and time are those of the bag,
/// whatever the text holds. Each `take` removes from the front what it is about, or fails.
class reader_t {
public:
    explicit reader_t(std::string_view text) : m_rest(text) {}

    /// The one root element, beside which only the declaration may stand.
    bool take_document(variant_bag_t& bag, std::string_view root) {
        take("\xEF\xBB\xBF");
        if (take("<?xml") && !take_declaration()) {
            return false;
        }
        take_white();
        const std::optional<tag_t> tag = take_tag();
        return tag && tag->version == "1" && !tag->name && !tag->escaped &&
               (root.empty() || root == tag->element) && take_entries(*tag, bag, 1) &&
               (take_white(), m_rest.empty());
    }

    [[nodiscard]] int failure() const {
        return m_values > max_bag_values ? bag_too_large : bag_malformed;
    }

private:
    bool take(std::string_view word) {
        const bool found = m_rest.starts_with(word);
        m_rest.remove_prefix(found ? word.size() : 0);
        return found;
    }

    bool take_white() {
        std::size_t length = 0;
        while (length < m_rest.size() && is_white(m_rest[length])) {
            ++length;
        }
        m_rest.remove_prefix(length);
        return length > 0;
    }

    std::string_view take_front(std::size_t length) {
        const std::string_view front = m_rest.substr(0, length);
        m_rest.remove_prefix(front.size());
        return front;
    }

    bool take_equals() {
        take_white();
        return take("=") && (take_white(), true);
    }

    /// Valid until the next text is taken.
    std::optional<std::string_view> take_quoted() {
        const std::string_view quote = take_front(1);
        const std::size_t end = quote == "'" || quote == "\"" ? m_rest.find(quote) : m_rest.npos;
        const std::string_view value = take_front(std::min(end, m_rest.size()));
        if (end == m_rest.npos || value.find('<') != value.npos) {
            return std::nullopt;
        }
        take_front(1);
        return decode(value, m_room);
    }

    /// What follows "<?xml".
    bool take_declaration() {
        const auto take_part = [this](std::string_view key, auto... values) {
            const std::string_view before = m_rest;
            if (!take_white() || !take(key)) {
                m_rest = before;
                return std::optional<bool>();
            }
            const std::optional<std::string_view> value =
                take_equals() ? take_quoted() : std::nullopt;
            return std::optional((... || (value == values)));
        };
        return take_part("version", "1.0").value_or(false) &&
               take_part("encoding", "UTF-8", "utf-8").value_or(true) &&
               take_part("standalone", "yes", "no").value_or(true) && (take_white(), take("?>"));
    }

    std::optional<tag_t> take_tag() {
        tag_t tag;
        if (!take("<")) {
            return std::nullopt;
        }
        tag.element = take_front(name_length(m_rest));
        bool apart = take_white();
        while (apart && name_length(m_rest) > 0) {
            if (!take_attribute(tag)) {
                return std::nullopt;
            }
            apart = take_white();
        }
        tag.ends_itself = take("/");
        return !tag.element.empty() && take(">") ? std::optional(std::move(tag)) : std::nullopt;
    }

    bool take_attribute(tag_t& tag) {
        const std::string_view key = take_front(name_length(m_rest));
        const std::optional<std::string_view> value = take_equals() ? take_quoted() : std::nullopt;
        if (!value) {
            return false;
        }
        if (key == "n" && !tag.name) {
            tag.name.emplace(*value);
            return true;
        }
        if (key == "v" && !tag.version) {
            tag.version.emplace(*value);
            return true;
        }
        const bool marks = key == "e" && !tag.escaped && *value == "x";
        tag.escaped = tag.escaped || marks;
        return marks;
    }

    bool take_end(const tag_t& tag) {
        return take("</") && take(tag.element) && (take_white(), take(">"));
    }

    bool take_entries(const tag_t& parent, variant_bag_t& bag, std::size_t level) {
        if (level > max_bag_levels) {
            return false;
        }
        if (parent.ends_itself) {
            return true;
        }
        for (take_white(); !m_rest.starts_with("</"); take_white()) {
            if (!take_entry(bag, level)) {
                return false;
            }
        }
        return take_end(parent);
    }

    bool take_entry(variant_bag_t& bag, std::size_t level) {
        std::optional<tag_t> tag = take_tag();
        if (!tag || !tag->name || tag->version || ++m_values > max_bag_values) {
            return false;
        }
        const std::optional<std::string> name = unescape(*tag->name, tag->escaped);
        if (!name || bag.has(*name)) {
            return false;
        }
        std::optional<variant_t> value = take_value(*tag, level);
        if (!value) {
            return false;
        }
        bag.put(*name, std::move(*value));
        return true;
    }

    std::optional<variant_t> take_value(const tag_t& tag, std::size_t level) {
        if (tag.element == "bag") {
            variant_t value{variant_bag_t()};
            return take_entries(tag, *value.as_bag(), level + 1) ? std::optional(std::move(value))
                                                                 : std::nullopt;
        }
        const std::optional<std::string_view> text = take_text(tag);
        if (!text) {
            return std::nullopt;
        }
        if (tag.element == "str") {
            std::optional<std::string> value = unescape(*text, tag.escaped);
            return value ? std::optional<variant_t>(std::move(*value)) : std::nullopt;
        }
        if (tag.element == "int32") {
            return to_number<std::int32_t>(*text);
        }
        if (tag.element == "uint32") {
            return to_number<std::uint32_t>(*text);
        }
        if (tag.element == "int64") {
            return to_number<std::int64_t>(*text);
        }
        return tag.element == "uint64" ? to_number<std::uint64_t>(*text) : std::nullopt;
    }

    /// The text of an element that holds nothing but text, with its end. Valid until the next.
    std::optional<std::string_view> take_text(const tag_t& tag) {
        if (tag.ends_itself) {
            return "";
        }
        const std::string_view text = take_front(std::min(m_rest.find('<'), m_rest.size()));
        const bool is_text = text.find("]]>") == text.npos && take_end(tag);
        return is_text ? decode(text, m_room) : std::nullopt;
    }

    static std::optional<std::string> unescape(std::string_view text, bool escaped) {
        return escaped ? remove_escapes(text) : std::optional(std::string(text));
    }

    std::string_view m_rest;
    std::string m_room;  ///< for a text that does not stand for itself
    std::size_t m_values = 0;
};

}  // namespace

int load_variant_bag_from_string(variant_bag_t& bag, std::string_view text, const char* root) {
    bag.clear();
    if (text.size() > max_bag_bytes) {
        return bag_too_large;
    }
    reader_t reader(text);
    if (!reader.take_document(bag, root ? root : "")) {
        bag.clear();
        return reader.failure();
    }
    return bag_ok;
}

}  // namespace basekit2
