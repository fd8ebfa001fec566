#pragma once
/// Name patterns: "r@@@" stands for r000, r001, ..., and "{user}_@@" begins with the value of a
/// variable.
///
///     vesta2::Pattern pattern;
///     if (pattern.set("r@@@", nullptr) == vesta2::eOK)
///         std::string name = pattern.generateFileName(5, nullptr);  // "r005"
///
/// Plain data: one object is not to be changed by one thread while another uses it.

#include <cstdint>
#include <string>

#include "basekit2/variant.h"
#include "vesta2/error.h"
#include "vesta2/export.h"

namespace vesta2 {

class VESTA2_API Pattern {
public:
    Pattern() = default;

    /// Parses `pattern`; with a bag (a "vesta" section) the variables of the part before the
    /// placeholders are substituted. Returns `eOK`, `eTooManyPlaceholderGroups`, or
    /// `eTooLongPlaceholder` for more than 8 placeholders. After a failure the object is partly
    /// changed: discard it.
    /// Deliberate: a pattern with nothing behind its placeholders, or without any, keeps the suffix
    /// of the pattern before.
    error_t set(const std::string& pattern, const basekit2::variant_bag_t* bag);

    /// `text` with each "{name}" replaced by the string variable of that name; one that is unknown
    /// or no string stays. `bag` is a "vesta" section, whose member "variables" holds them; null
    /// leaves the text as it is. What a variable brings in is not substituted again.
    static std::string subst(const std::string& text, const basekit2::variant_bag_t* bag);

    /// Whether `name` is an instance of the pattern; if so, `*number`, unless null, is its number.
    /// Deliberate: the text of the suffix, the width of the number and whatever follows it are not
    /// looked at: "r@@@" matches r7 and r001.old.
    bool match(const std::string& name, int* number) const;

    /// The name for `number`: padded with zeros to the width, never cut.
    /// Deliberate: a negative number is padded before its sign ("0-5").
    std::string generateFileName(int number, const basekit2::variant_bag_t* bag) const;

    /// How many placeholders the pattern has; 0 for a plain name.
    [[nodiscard]] int width() const { return m_width; }
    [[nodiscard]] const std::string& prefix() const { return m_prefix; }

private:
    std::string m_prefix;
    std::string m_suffix;
    std::int32_t m_width = 0;
    std::int32_t m_limit = 0;
    std::int32_t m_prefixLength = 0;
    std::int32_t m_suffixDigits = 0;
};

}  // namespace vesta2
