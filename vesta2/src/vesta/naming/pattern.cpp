#include "vesta2/pattern.h"

#include <cstdlib>
#include <string_view>

namespace vesta2 {
namespace {

constexpr char placeholder = '@';
constexpr std::int32_t maxWidth = 8;
constexpr std::string_view digits = "0123456789";

std::size_t countDigits(std::string_view text) {
    const std::size_t end = text.find_first_not_of(digits);
    return end == std::string_view::npos ? text.size() : end;
}

}  // namespace

error_t Pattern::set(const std::string& pattern, const basekit2::variant_bag_t* bag) {
    const std::size_t first = pattern.find(placeholder);
    m_prefix = pattern.substr(0, first);
    m_width = 0;
    m_limit = 0;
    if (first != std::string::npos) {
        std::size_t end = pattern.find_first_not_of(placeholder, first);
        end = end == std::string::npos ? pattern.size() : end;
        m_width = static_cast<std::int32_t>(end - first);
        m_limit = 1;
        for (std::int32_t i = 0; i < m_width && i <= maxWidth; ++i) {
            m_limit *= 10;
        }
        if (end < pattern.size()) {
            if (pattern.find(placeholder, end) != std::string::npos) {
                return eTooManyPlaceholderGroups;
            }
            m_suffix = pattern.substr(end);
        }
        if (m_width > maxWidth) {
            return eTooLongPlaceholder;
        }
    }
    if (bag) {
        m_prefix = subst(m_prefix, bag);
    }
    m_prefixLength = static_cast<std::int32_t>(m_prefix.size());
    m_suffixDigits = static_cast<std::int32_t>(countDigits(m_suffix));
    return eOK;
}

std::string Pattern::subst(const std::string& text, const basekit2::variant_bag_t* bag) {
    if (!bag) {
        return text;
    }
    const basekit2::variant_bag_t* variables = bag->get_bag("variables");
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
    const auto prefixLength = static_cast<std::size_t>(m_prefixLength);
    if (name.size() < prefixLength || name.compare(0, prefixLength, m_prefix) != 0) {
        return false;
    }
    const std::size_t run = countDigits(std::string_view(name).substr(prefixLength));
    const auto suffixDigits = static_cast<std::size_t>(m_suffixDigits);
    if (run == 0 || run < suffixDigits) {
        return false;
    }
    *number = static_cast<int>(
        std::strtol(name.substr(prefixLength, run - suffixDigits).c_str(), nullptr, 10));
    return true;
}

std::string Pattern::generateFileName(int number, const basekit2::variant_bag_t* bag) const {
    std::string digitsOfNumber = std::to_string(number);
    const auto width = static_cast<std::size_t>(m_width);
    if (digitsOfNumber.size() < width) {
        digitsOfNumber.insert(0, width - digitsOfNumber.size(), '0');
    }
    return m_prefix + digitsOfNumber + subst(m_suffix, bag);
}

}  // namespace vesta2
