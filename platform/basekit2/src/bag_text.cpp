#include "basekit2/bag_io.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>
#include <pugixml.hpp>
#include <string>

#include "bag_limits.h"
#include "basekit2/utf8.h"

namespace basekit2 {
namespace {

constexpr std::string_view format_version = "1";
constexpr std::string_view escape_mark = "x";
constexpr char hex_digits[] = "0123456789ABCDEF";

bool xml_cannot_hold(std::uint32_t character) {
    return character < 0x20 || character == 0x7F || character == 0xFFFE || character == 0xFFFF ||
           character >= invalid_byte;
}

bool needs_escapes(std::string_view text) {
    while (!text.empty()) {
        if (xml_cannot_hold(next_character(text))) {
            return true;
        }
    }
    return false;
}

std::string add_escapes(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        std::string_view rest = text;
        const bool escaped = xml_cannot_hold(next_character(rest));
        for (const char c : text.substr(0, text.size() - rest.size())) {
            const auto byte = static_cast<unsigned char>(c);
            if (escaped) {
                out += {'\\', 'x', hex_digits[byte >> 4], hex_digits[byte & 15]};
            } else if (c == '\\') {
                out += "\\\\";
            } else {
                out += c;
            }
        }
        text = rest;
    }
    return out;
}

std::optional<std::string> remove_escapes(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        if (text.front() != '\\') {
            out += text.front();
            text.remove_prefix(1);
        } else if (text.substr(0, 2) == "\\\\") {
            out += '\\';
            text.remove_prefix(2);
        } else {
            unsigned byte = 0;
            if (text.size() < 4 || text[1] != 'x' ||
                std::from_chars(text.data() + 2, text.data() + 4, byte, 16).ptr !=
                    text.data() + 4) {
                return std::nullopt;
            }
            out += static_cast<char>(byte);
            text.remove_prefix(4);
        }
    }
    return out;
}

// --- writing ------------------------------------------------------------------------------------

void append_markup(std::string& out, std::string_view text) {
    for (const char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    }
}

const char* element_name(variant_t::kind_t kind) {
    switch (kind) {
    case variant_t::kind_t::int32:
        return "int32";
    case variant_t::kind_t::uint32:
        return "uint32";
    case variant_t::kind_t::int64:
        return "int64";
    case variant_t::kind_t::uint64:
        return "uint64";
    case variant_t::kind_t::str:
        return "str";
    case variant_t::kind_t::bag:
        return "bag";
    case variant_t::kind_t::empty:
        break;
    }
    return nullptr;
}

bool write_entries(std::string& out, const variant_bag_t& bag, std::size_t level);

bool write_entry(std::string& out, const variant_bag_t::entry_t& entry, std::size_t level) {
    const variant_t& value = entry.value;
    const char* element = element_name(value.kind());
    if (!element) {
        return false;
    }
    const std::string* text = value.as_string();
    const bool escaped = needs_escapes(entry.name) || (text && needs_escapes(*text));
    out.append(level, ' ').append("<").append(element).append(" n=\"");
    append_markup(out, escaped ? add_escapes(entry.name) : entry.name);
    out += escaped ? "\" e=\"x\">" : "\">";
    if (text) {
        append_markup(out, escaped ? add_escapes(*text) : *text);
    } else if (const variant_bag_t* bag = value.as_bag()) {
        out += '\n';
        if (!write_entries(out, *bag, level + 1)) {
            return false;
        }
        out.append(level, ' ');
    } else if (value.kind() == variant_t::kind_t::uint64) {
        out += std::to_string(static_cast<std::uint64_t>(value.to_int64()));
    } else {
        out += std::to_string(value.to_int64());
    }
    out.append("</").append(element).append(">\n");
    return true;
}

bool write_entries(std::string& out, const variant_bag_t& bag, std::size_t level) {
    if (level > max_levels) {
        return false;
    }
    for (const variant_bag_t::entry_t& entry : bag) {
        if (!write_entry(out, entry, level)) {
            return false;
        }
    }
    return true;
}

// --- reading ------------------------------------------------------------------------------------

/// Whether `name` is what may stand between "&" and ";".
bool is_reference(std::string_view name) {
    for (const std::string_view known : {"amp", "lt", "gt", "quot", "apos"}) {
        if (name == known) {
            return true;
        }
    }
    if (name.substr(0, 1) != "#") {
        return false;
    }
    const bool hex = name.substr(1, 1) == "x";
    const std::string_view digits = name.substr(hex ? 2 : 1);
    std::uint32_t character = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), character, hex ? 16 : 10);
    return error == std::errc() && end == digits.data() + digits.size() && character != 0;
}

/// The parser keeps a reference that it does not know as text, and ends a text at one to NUL.
bool has_known_references(std::string_view text) {
    std::size_t at = text.find('&');
    for (; at != std::string_view::npos; at = text.find('&', at)) {
        const std::size_t end = text.find(';', ++at);
        if (end == std::string_view::npos || !is_reference(text.substr(at, end - at))) {
            return false;
        }
    }
    return true;
}

bool is_white(std::string_view text) {
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

struct attributes_t {
    std::optional<std::string_view> name;
    std::optional<std::string_view> version;
    bool escaped = false;
};

std::optional<attributes_t> read_attributes(const pugi::xml_node& node) {
    attributes_t found;
    for (const pugi::xml_attribute attribute : node.attributes()) {
        const std::string_view key = attribute.name();
        if (key == "n" && !found.name) {
            found.name = attribute.value();
        } else if (key == "v" && !found.version) {
            found.version = attribute.value();
        } else if (key == "e" && !found.escaped && attribute.value() == escape_mark) {
            found.escaped = true;
        } else {
            return std::nullopt;
        }
    }
    return found;
}

/// The text of an element that holds nothing but text.
std::optional<std::string_view> read_text(const pugi::xml_node& node) {
    const pugi::xml_node child = node.first_child();
    if (!child) {
        return "";
    }
    if (child.type() != pugi::node_pcdata || child.next_sibling()) {
        return std::nullopt;
    }
    return child.value();
}

std::optional<std::string> unescape(std::string_view text, bool escaped) {
    if (needs_escapes(text)) {
        return std::nullopt;
    }
    return escaped ? remove_escapes(text) : std::string(text);
}

template <class Integer>
std::optional<variant_t> read_number(std::string_view text) {
    Integer value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return variant_t(value);
}

bool read_entries(const pugi::xml_node& parent, variant_bag_t& bag, std::size_t level);

std::optional<variant_t> read_value(const pugi::xml_node& node, bool escaped, std::size_t level) {
    const std::string_view kind = node.name();
    if (kind == "bag") {
        variant_t value{variant_bag_t()};
        return read_entries(node, *value.as_bag(), level + 1) ? std::optional(std::move(value))
                                                              : std::nullopt;
    }
    const std::optional<std::string_view> text = read_text(node);
    if (!text) {
        return std::nullopt;
    }
    if (kind == "str") {
        std::optional<std::string> string = unescape(*text, escaped);
        return string ? std::optional<variant_t>(std::move(*string)) : std::nullopt;
    }
    if (kind == "int32") {
        return read_number<std::int32_t>(*text);
    }
    if (kind == "uint32") {
        return read_number<std::uint32_t>(*text);
    }
    if (kind == "int64") {
        return read_number<std::int64_t>(*text);
    }
    return kind == "uint64" ? read_number<std::uint64_t>(*text) : std::nullopt;
}

bool read_entries(const pugi::xml_node& parent, variant_bag_t& bag, std::size_t level) {
    if (level > max_levels) {
        return false;
    }
    for (const pugi::xml_node node : parent.children()) {
        if (node.type() == pugi::node_pcdata && is_white(node.value())) {
            continue;
        }
        const std::optional<attributes_t> attributes = read_attributes(node);
        if (node.type() != pugi::node_element || !attributes || !attributes->name ||
            attributes->version) {
            return false;
        }
        const std::optional<std::string> name = unescape(*attributes->name, attributes->escaped);
        std::optional<variant_t> value = read_value(node, attributes->escaped, level);
        if (!name || !value || bag.has(*name)) {
            return false;
        }
        bag.put(*name, std::move(*value));
    }
    return true;
}

/// The one root element, beside which only the declaration may stand.
pugi::xml_node read_root(const pugi::xml_document& document, std::string_view wanted) {
    pugi::xml_node root;
    for (const pugi::xml_node node : document.children()) {
        if (node.type() == pugi::node_declaration && !root) {
            continue;
        }
        if (node.type() != pugi::node_element || root) {
            return {};
        }
        root = node;
    }
    const std::optional<attributes_t> attributes = read_attributes(root);
    const bool accepted = root && attributes && attributes->version == format_version &&
                          !attributes->name && !attributes->escaped &&
                          (wanted.empty() || wanted == root.name());
    return accepted ? root : pugi::xml_node();
}

}  // namespace

int save_variant_bag_to_string(const variant_bag_t& bag, std::string& text, const char* root) {
    text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<";
    text.append(root).append(" v=\"").append(format_version).append("\">\n");
    if (!write_entries(text, bag, 1)) {
        text.clear();
        return bag_malformed;
    }
    text.append("</").append(root).append(">\n");
    if (text.size() > max_bytes) {
        text.clear();
        return bag_too_large;
    }
    return bag_ok;
}

int load_variant_bag_from_string(variant_bag_t& bag, std::string_view text, const char* root) {
    bag.clear();
    if (text.size() > max_bytes) {
        return bag_too_large;
    }
    if (text.find('\0') != std::string_view::npos || !is_utf8(text) ||
        !has_known_references(text)) {
        return bag_malformed;
    }
    // Whatever the parser would drop in silence is kept, so that it is seen and refused.
    constexpr unsigned options = pugi::parse_escapes | pugi::parse_ws_pcdata_single |
                                 pugi::parse_cdata | pugi::parse_comments | pugi::parse_pi |
                                 pugi::parse_declaration | pugi::parse_doctype |
                                 pugi::parse_fragment;
    pugi::xml_document document;
    if (!document.load_buffer(text.data(), text.size(), options, pugi::encoding_utf8)) {
        return bag_malformed;
    }
    const pugi::xml_node element = read_root(document, root ? root : "");
    if (!element || !read_entries(element, bag, 1)) {
        bag.clear();
        return bag_malformed;
    }
    return bag_ok;
}

}  // namespace basekit2
