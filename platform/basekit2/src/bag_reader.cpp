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

/// What a text may hold besides printable ASCII that stands for itself.
enum content_t : unsigned char { plain = 0, reference = 1, markup = 2, bracket = 4, other = 8 };

constexpr auto contents_of_bytes = [] {
    std::array<unsigned char, 256> contents{};
    for (std::size_t byte = 0; byte < contents.size(); ++byte) {
        contents[byte] = byte < 0x20 || byte >= 0x7F ? other : plain;
    }
    contents['&'] = reference;
    contents['<'] = markup;
    contents[']'] = bracket;
    return contents;
}();

/// A text up to the byte that ends it, with all that is in it.
struct run_t {
    std::string_view text;
    unsigned contents = plain;
};

run_t run_until(char end, std::string_view text) {
    unsigned contents = plain;
    std::size_t length = 0;
    for (; length < text.size() && text[length] != end; ++length) {
        contents |= contents_of_bytes[static_cast<unsigned char>(text[length])];
    }
    return {text.substr(0, length), contents};
}

/// What the text of an element or an attribute stands for: mostly itself, else it is put into
/// `room`. Nothing when it holds what has to be escaped.
std::optional<std::string_view> decode(const run_t& run, std::string& room) {
    if ((run.contents & reference) == 0) {
        const bool is_bad = (run.contents & other) != 0 && needs_escapes(run.text);
        return is_bad ? std::nullopt : std::optional(run.text);
    }
    std::string_view text = run.text;
    room.clear();
    for (std::size_t at = text.find('&'); at != text.npos; at = text.find('&')) {
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
bool read_number(std::string_view text, variant_t& value) {
    Integer number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const std::size_t first_digit = text.starts_with('-') ? 1 : 0;
    const bool leading_zero = text.substr(first_digit, 1) == "0" && text.size() > 1;
    if (error != std::errc() || end != text.data() + text.size() || leading_zero) {
        return false;
    }
    value = variant_t(number);
    return true;
}

/// Stays where it is: the name may lie in the room.
struct tag_t {
    tag_t() = default;
    tag_t(const tag_t&) = delete;
    tag_t& operator=(const tag_t&) = delete;

    std::string_view element;
    std::optional<std::string_view> name;
    std::string name_room;  ///< for one that does not stand for itself
    bool has_version = false;
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
        tag_t tag;
        return take_tag(tag) && tag.has_version && !tag.name && !tag.escaped &&
               (root.empty() || root == tag.element) && take_entries(tag, bag, 1) &&
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
        const char quote = m_rest.empty() ? '\0' : m_rest.front();
        if (quote != '"' && quote != '\'') {
            return std::nullopt;
        }
        take_front(1);
        const run_t value = run_until(quote, m_rest);
        take_front(value.text.size());
        if (take_front(1).empty() || (value.contents & markup) != 0) {
            return std::nullopt;
        }
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

    bool take_tag(tag_t& tag) {
        if (!take("<")) {
            return false;
        }
        tag.element = take_front(name_length(m_rest));
        while (take_white()) {
            const std::string_view key = take_front(name_length(m_rest));
            if (key.empty()) {
                break;
            }
            if (!take_attribute(tag, key)) {
                return false;
            }
        }
        tag.ends_itself = take("/");
        return !tag.element.empty() && take(">");
    }

    bool take_attribute(tag_t& tag, std::string_view key) {
        const std::optional<std::string_view> value = take_equals() ? take_quoted() : std::nullopt;
        if (!value) {
            return false;
        }
        if (key == "n" && !tag.name) {
            const bool is_decoded = value->data() == m_room.data();
            tag.name = is_decoded ? tag.name_room = *value : *value;
            return true;
        }
        bool& marked = key == "v" ? tag.has_version : tag.escaped;
        const bool marks =
            !marked && ((key == "v" && *value == "1") || (key == "e" && *value == "x"));
        marked = marked || marks;
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
        tag_t tag;
        if (!take_tag(tag) || !tag.name || tag.has_version || ++m_values > max_bag_values) {
            return false;
        }
        variant_t value;
        if (!take_value(tag, level, value)) {
            return false;
        }
        if (!tag.escaped) {
            return bag.add(*tag.name, std::move(value));
        }
        const std::optional<std::string> name = remove_escapes(*tag.name);
        return name && bag.add(*name, std::move(value));
    }

    bool take_value(const tag_t& tag, std::size_t level, variant_t& value) {
        if (tag.element == "bag") {
            value = variant_bag_t();
            return take_entries(tag, *value.as_bag(), level + 1);
        }
        const std::optional<std::string_view> text = take_text(tag);
        if (!text) {
            return false;
        }
        if (tag.element == "str") {
            std::optional<std::string> string =
                tag.escaped ? remove_escapes(*text) : std::optional(std::string(*text));
            value = string ? variant_t(std::move(*string)) : variant_t();
            return string.has_value();
        }
        if (tag.element == "int32") {
            return read_number<std::int32_t>(*text, value);
        }
        if (tag.element == "uint32") {
            return read_number<std::uint32_t>(*text, value);
        }
        if (tag.element == "int64") {
            return read_number<std::int64_t>(*text, value);
        }
        return tag.element == "uint64" && read_number<std::uint64_t>(*text, value);
    }

    /// The text of an element that holds nothing but text, with its end. Valid until the next.
    std::optional<std::string_view> take_text(const tag_t& tag) {
        if (tag.ends_itself) {
            return "";
        }
        const run_t run = run_until('<', m_rest);
        take_front(run.text.size());
        const bool is_text =
            ((run.contents & bracket) == 0 || run.text.find("]]>") == run.text.npos) &&
            take_end(tag);
        return is_text ? decode(run, m_room) : std::nullopt;
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
