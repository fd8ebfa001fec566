#include "basekit2/bag_io.h"
#include "fuzz.h"

namespace {

using basekit2::variant_bag_t;
using basekit2::variant_t;
using fuzz::require;

/// Failing, a load leaves nothing behind.
bool load(variant_bag_t& bag, std::string_view text) {
    bag.put("from before", 1);
    const int result = basekit2::load_variant_bag_from_string(bag, text, "bag");
    require(result == basekit2::bag_ok || bag.empty());
    return result == basekit2::bag_ok;
}

void requireRoundTrip(const variant_bag_t& bag, int expected) {
    variant_bag_t back;
    std::string text = "from before";
    std::string again;
    require(basekit2::save_variant_bag_to_string(bag, text) == expected);
    require(load(back, text) == (expected == basekit2::bag_ok) &&
            back == (text.empty() ? back : bag));
    basekit2::save_variant_bag_to_string(back, again);
    require(text.empty() || again == text);
}

/// Puts and removes what the bytes say; returns how many levels there are.
std::size_t fill(std::string_view& bytes, variant_bag_t& bag) {
    std::size_t levels = 1;
    while (!bytes.empty()) {
        const auto order = fuzz::takeNumber<std::uint8_t>(bytes);
        const std::string name = fuzz::takeText(bytes, order / 8 % 8);
        if (order % 8 == 7) {
            break;
        }
        if (order % 8 == 6 && !bag.has(name)) {
            levels = std::max(levels, 1 + fill(bytes, bag.put_bag(name)));
        } else if (order % 8 < 6 && !bag.get_bag(name)) {
            const std::string text = fuzz::takeText(bytes, fuzz::takeNumber<std::uint8_t>(bytes));
            std::string_view digits = text;
            const auto number = fuzz::takeNumber<std::uint64_t>(digits);
            const variant_t values[] = {variant_t(),
                                        static_cast<std::int32_t>(number),
                                        static_cast<std::uint32_t>(number),
                                        static_cast<std::int64_t>(number),
                                        number,
                                        text};
            bag.put(name, values[order % 8]);
        }
    }
    return levels;
}

}  // namespace

/// A text is refused, or its bag can be saved; a bag comes back from its text, whatever it holds.
void fuzz::judge(std::string_view input) {
    variant_bag_t bag;
    if (load(bag, input)) {
        requireRoundTrip(bag, basekit2::bag_ok);
    }
    bag.clear();
    const bool isTooDeep = fill(input, bag) > basekit2::max_bag_levels;
    requireRoundTrip(bag, isTooDeep ? basekit2::bag_malformed : basekit2::bag_ok);
}
