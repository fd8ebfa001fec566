#include <algorithm>

#include "bag_syntax.h"
#include "basekit2/bag_io.h"
#include "basekit2/utf8.h"

namespace basekit2 {
namespace {

constexpr char hex_digits[] = "0123456789ABCDEF";

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

/// Stops soon after the text is too long: what it takes is bounded, whatever the bag holds.
class writer_t {
public:
    explicit writer_t(std::string& out) : m_out(out) {}

    [[nodiscard]] int result() const {
        return m_out.size() > max_bag_bytes ? bag_too_large : m_result;
    }

    void write_entries(const variant_bag_t& bag, std::size_t level) {
        if (level > max_bag_levels) {
            m_result = bag_malformed;
        }
        for (const variant_bag_t::entry_t& entry : bag) {
            if (result() != bag_ok) {
                return;
            }
            write_entry(entry, level);
        }
    }

private:
    void write_entry(const variant_bag_t::entry_t& entry, std::size_t level) {
        const variant_t& value = entry.value;
        const char* element = element_name(value.kind());
        if (!element || ++m_values > max_bag_values) {
            m_result = element ? bag_too_large : bag_malformed;
            return;
        }
        const std::string* text = value.as_string();
        const bool escaped = needs_escapes(entry.name) || (text && needs_escapes(*text));
        m_out.append(level, ' ').append("<").append(element).append(" n=\"");
        write_text(entry.name, escaped);
        m_out += escaped ? "\" e=\"x\">" : "\">";
        if (text) {
            write_text(*text, escaped);
        } else if (const variant_bag_t* bag = value.as_bag()) {
            m_out += '\n';
            write_entries(*bag, level + 1);
            m_out.append(level, ' ');
        } else if (value.kind() == variant_t::kind_t::uint64) {
            m_out += std::to_string(static_cast<std::uint64_t>(value.to_int64()));
        } else {
            m_out += std::to_string(value.to_int64());
        }
        m_out.append("</").append(element).append(">\n");
    }

    void write_text(std::string_view text, bool escaped) {
        if (text.size() > max_bag_bytes) {
            m_result = bag_too_large;
        } else if (escaped) {
            write_escaped(text);
        } else {
            write_markup(text);
        }
    }

    void write_escaped(std::string_view text) {
        while (!text.empty() && m_out.size() <= max_bag_bytes) {
            const std::string_view before = text;
            const bool in_hex = needs_escape(next_character(text));
            const std::string_view character = before.substr(0, before.size() - text.size());
            if (in_hex) {
                write_hex(character);
            } else if (character == "\\") {
                m_out += "\\\\";
            } else {
                write_markup(character);
            }
        }
    }

    void write_hex(std::string_view bytes) {
        for (const char c : bytes) {
            const auto byte = static_cast<unsigned char>(c);
            m_out += {'\\', 'x', hex_digits[byte >> 4], hex_digits[byte & 15]};
        }
    }

    void write_markup(std::string_view text) {
        while (m_out.size() <= max_bag_bytes) {
            const auto* const markup = std::find_if(text.begin(), text.end(), is_markup);
            m_out.append(text.begin(), markup);
            if (markup == text.end()) {
                return;
            }
            m_out += reference(*markup);
            text.remove_prefix(static_cast<std::size_t>(markup + 1 - text.begin()));
        }
    }

    static bool is_markup(char c) { return c == '&' || c == '<' || c == '>' || c == '"'; }

    static const char* reference(char c) {
        return c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : "&quot;";
    }

    std::string& m_out;
    std::size_t m_values = 0;
    int m_result = bag_ok;
};

}  // namespace

int save_variant_bag_to_string(const variant_bag_t& bag, std::string& text, const char* root) {
    text.clear();
    const std::string_view name = root ? root : "";
    if (name.empty() || name_length(name) != name.size()) {
        return bag_malformed;
    }
    text.append("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<").append(name).append(" v=\"1\">\n");
    writer_t writer(text);
    writer.write_entries(bag, 1);
    text.append("</").append(name).append(">\n");
    const int result = writer.result();
    if (result != bag_ok) {
        text = std::string();
    }
    return result;
}

}  // namespace basekit2
