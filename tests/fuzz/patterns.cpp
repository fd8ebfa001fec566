#include "basekit2/path.h"
#include "basekit2/utf8.h"
#include "fuzz.h"
#include "vesta2/pattern.h"
#include "vesta2/result_variable_bag.h"

namespace {

using fuzz::require;
using Characters = std::u32string_view;

std::u32string decode(std::string_view text) {
    std::u32string all;
    while (!text.empty()) {
        all += static_cast<char32_t>(basekit2::next_character(text));
    }
    return all;
}

/// Whether `c` is in the set between "[" and "]".
bool isIn(Characters set, char32_t c) {
    const bool isNegated = set[0] == U'!' || set[0] == U'^';
    bool isFound = false;
    for (std::size_t i = isNegated ? 1 : 0; i < set.size(); ++i) {
        const std::size_t first = i;
        i += i + 2 < set.size() && set[i + 1] == U'-' ? 2 : 0;
        isFound = isFound || (set[first] <= c && c <= set[i]);
    }
    return isFound != isNegated;
}

/// Tries all that a "*" may stand for, one after the other.
bool matches(Characters pattern, Characters text) {
    if (pattern.empty() || (text.empty() && pattern[0] != U'*')) {
        return pattern.size() == text.size();
    }
    if (pattern[0] == U'*') {
        return matches(pattern.substr(1), text) ||
               (!text.empty() && matches(pattern, text.substr(1)));
    }
    const std::size_t first = pattern.starts_with(U"[!") || pattern.starts_with(U"[^") ? 2 : 1;
    const std::size_t close = pattern[0] == U'[' ? pattern.find(U']', first + 1) : pattern.npos;
    const bool isSet = close != pattern.npos;
    return (isSet ? isIn(pattern.substr(1, close - 1), text[0])
                  : pattern[0] == U'?' || pattern[0] == text[0]) &&
           matches(pattern.substr(isSet ? close + 1 : 1), text.substr(1));
}

/// A text with variables, and what it stands for.
struct Template {
    explicit Template(std::string_view bytes) {
        for (const char c : bytes) {
            std::string piece(1, c == '{' ? '}' : c);
            piece = c == 'U' ? "{user}" : c == 'N' ? "{number}" : c == 'X' ? "{}" : piece;
            text += piece;
            filled += c == 'U' ? "{number}{user}" : piece;
        }
    }

    std::string text;
    std::string filled;
};

void judgePattern(std::string_view bytes, int number) {
    vesta2::ResultVariableBag bag;
    bag.putVariable("user", "{number}{user}");
    bag.putVariable("number", 7);
    const basekit2::variant_bag_t* variables = bag.get_bag("vesta");
    const std::size_t begin = std::min(bytes.find('@'), bytes.size());
    const std::size_t end = std::min(bytes.find_first_not_of('@', begin), bytes.size());
    const Template prefix(bytes.substr(0, begin));
    const Template suffix(bytes.substr(end));
    const bool isPattern = end - begin <= 8 && suffix.text.find('@') == suffix.text.npos;
    vesta2::Pattern pattern;
    require((pattern.set(Template(bytes).text, variables) == vesta2::eOK) == isPattern);
    if (isPattern) {
        const std::string name = pattern.generateFileName(number, variables);
        const std::string digits = std::to_string(number);
        const std::string zeros(end - begin - std::min(end - begin, digits.size()), '0');
        require(name == prefix.filled + zeros + digits + suffix.filled);
        int found = -1;
        require(pattern.match(name, &found) && found == number);
        require(!pattern.match(prefix.filled, &found));
    }
}

}  // namespace

void fuzz::judge(std::string_view input) {
    const auto number = static_cast<int>(takeNumber<std::uint32_t>(input) >> 1);
    const std::string mask = takeLine(input, 100);
    judgePattern(mask, number);
    const std::string name = takeText(input, 24);
    // With more of them the plain way takes too long.
    if (std::count(mask.begin(), mask.end(), '*') <= 4) {
        const bool isEnd = mask.starts_with('.') && mask.find_first_of("*?[") == mask.npos;
        const std::u32string whole = (isEnd ? U"*" : U"") + decode(mask);
        require(basekit2::path_t(name).match(mask) == matches(whole, decode(name)));
    }
}
