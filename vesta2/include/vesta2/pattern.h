#pragma once
/// Name patterns: "r@@@" stands for r000, r001, ..., and "{user}_@@" begins with the value of a
/// variable.
///
///     vesta2::Pattern pattern;
///     if (pattern.set("r@@@", nullptr) == vesta2::eOK)
///         std::string name = pattern.generateFileName(5, nullptr);  // "r005"
///
/// Plain data: one object must not be changed by one thread while another uses it.

#include <memory>
#include <string>

#include "basekit2/variant.h"
#include "vesta2/error.h"
#include "vesta2/export.h"

namespace vesta2 {

/// Layout: one pointer.
class VESTA2_API Pattern {
public:
    Pattern();
    Pattern(const Pattern& other);
    Pattern& operator=(const Pattern& other);
    ~Pattern();

    /// Parses `pattern`; with a bag (a "vesta" section) the variables of the part before the
    /// placeholders are substituted.
    /// Returns: `eOK`; `eTooManyPlaceholderGroups`; `eTooLongPlaceholder` for more than 8
    /// placeholders. After a failure the object is partly changed: discard it.
    /// Status: stays as it is, as with all operations of this class.
    /// Deliberate: a pattern with nothing behind its placeholders, or without any, keeps the suffix
    /// of the pattern before.
    error_t set(const std::string& pattern, const basekit2::variant_bag_t* bag);

    /// Returns: `text` with each "{name}" replaced by the string variable of that name; one that is
    /// unknown or no string stays. `bag` is a "vesta" section, whose member "variables" holds them;
    /// null leaves the text as it is. What a variable brings in is not substituted again.
    static std::string subst(const std::string& text, const basekit2::variant_bag_t* bag);

    /// Returns: whether `name` is an instance of the pattern; if so, `*number`, unless null, is its
    /// number.
    /// Deliberate: the text of the suffix, the width of the number and whatever follows it are not
    /// looked at: "r@@@" matches r7 and r001.old.
    bool match(const std::string& name, int* number) const;

    /// Returns: the name for `number`: padded with zeros to the width, never cut.
    /// Deliberate: a negative number is padded before its sign ("0-5").
    std::string generateFileName(int number, const basekit2::variant_bag_t* bag) const;

    /// Returns: how many placeholders the pattern has; 0 for a plain name.
    [[nodiscard]] int width() const;
    /// Returns: how many numbers the placeholders can hold, 10 to the power of `width`; 0 for a
    /// plain name. Numbers do not stop there: see `generateFileName`.
    [[nodiscard]] int limit() const;
    /// Returns: what precedes the placeholders. Lifetime: until the next `set`.
    [[nodiscard]] const std::string& prefix() const;

private:
    struct VESTA2_LOCAL Parts;
    std::unique_ptr<Parts> m_parts;
};

}  // namespace vesta2
