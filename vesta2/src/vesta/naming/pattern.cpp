#include "vesta2/pattern.h"

#include <charconv>
#include <limits>
#include <string_view>

#include "vesta2/property_names.h"

namespace vesta2 {
namespace {

constexpr char placeholder = '@';
constexpr std::int32_t maxWidth = 8;

std::size_t countDigits(std::string_view text) {
    std::size_t count = 0;
    while (count < text.size() && text[count] >= '0' && text[count] <= '9') {
        ++count;
    }
    return count;
}

/// The value of a run of digits; one that no 64-bit number holds is the greatest there is.
std::int64_t valueOf(std::string_view run) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(run.data(), run.data() + run.size(), value);
    return error == std::errc::result_out_of_range ? std::numeric_limits<std::int64_t>::max()
                                                   : value;
}

}  // namespace

struct Pattern::Parts {
    std::string prefix;
    std::string suffix;
    std::int32_t width = 0;
    std::int32_t limit = 0;
    std::int32_t suffixDigits = 0;
};

Pattern::Pattern() : m_parts(std::make_unique<Parts>()) {}
Pattern::Pattern(const Pattern& other) : m_parts(std::make_unique<Parts>(*other.m_parts)) {}
Pattern::~Pattern() = default;

Pattern& Pattern::operator=(const Pattern& other) {
    *m_parts = *other.m_parts;
    return *this;
}

int Pattern::width() const { return m_parts->width; }
int Pattern::limit() const { return m_parts->limit; }
const std::string& Pattern::prefix() const { return m_parts->prefix; }

error_t Pattern::set(const std::string& pattern, const basekit2::variant_bag_t* bag) {
    Parts& parts = *m_parts;
    const std::size_t first = pattern.find(placeholder);
    parts.prefix = pattern.substr(0, first);
    parts.width = 0;
    parts.limit = 0;
    if (first != std::string::npos) {
        std::size_t end = pattern.find_first_not_of(placeholder, first);
        end = end == std::string::npos ? pattern.size() : end;
        parts.width = static_cast<std::int32_t>(end - first);
        parts.limit = 1;
        for (std::int32_t i = 0; i < parts.width && i <= maxWidth; ++i) {
            parts.limit *= 10;
        }
        if (end < pattern.size()) {
            if (pattern.find(placeholder, end) != std::string::npos) {
                return eTooManyPlaceholderGroups;
            }
            parts.suffix = pattern.substr(end);
        }
        if (parts.width > maxWidth) {
            return eTooLongPlaceholder;
        }
    }
    if (bag) {
        parts.prefix = subst(parts.prefix, bag);
    }
    parts.suffixDigits = static_cast<std::int32_t>(countDigits(parts.suffix));
    return eOK;
}

std::string Pattern::subst(const std::string& text, const basekit2::variant_bag_t* bag) {
    if (!bag) {
        return text;
    }
    const basekit2::variant_bag_t* variables = bag->get_bag(section::variables);
    std::string result;
    std::size_t at = 0;
    for (;;) {
        const std::size_t open = text.find('{', at);
        const std::size_t close = open == std::string::npos ? open : text.find('}', open);
        if (close == std::string::npos) {
            return result.append(text, at);
        }
        result.append(text, at, open - at);
        const std::string name = text.substr(open + 1, close - open - 1);
        const basekit2::variant_t* value = variables ? variables->find(name) : nullptr;
        if (value && value->as_string()) {
            result += *value->as_string();
        } else {
            result.append(text, open, close + 1 - open);
        }
        at = close + 1;
    }
}

bool Pattern::match(const std::string& name, int* number) const {
    const auto prefixLength = m_parts->prefix.size();
    if (name.size() < prefixLength || name.compare(0, prefixLength, m_parts->prefix) != 0) {
        return false;
    }
    const std::size_t run = countDigits(std::string_view(name).substr(prefixLength));
    const auto suffixDigits = static_cast<std::size_t>(m_parts->suffixDigits);
    if (run == 0 || run < suffixDigits) {
        return false;
    }
    if (number) {
        const std::string_view digits = std::string_view(name).substr(prefixLength, run);
        *number = static_cast<int>(valueOf(digits.substr(0, run - suffixDigits)));
    }
    return true;
}

std::string Pattern::generateFileName(int number, const basekit2::variant_bag_t* bag) const {
    std::string digitsOfNumber = std::to_string(number);
    const auto width = static_cast<std::size_t>(m_parts->width);
    if (digitsOfNumber.size() < width) {
        digitsOfNumber.insert(0, width - digitsOfNumber.size(), '0');
    }
    return m_parts->prefix + digitsOfNumber + subst(m_parts->suffix, bag);
}

}  // namespace vesta2
