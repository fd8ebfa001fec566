#pragma once
/// The properties of a new result, with the variables of its name.
///
///     vesta2::ResultVariableBag variables;
///     variables.putVariable("user", "ada");
///     ResultDirectoryManager::create("/runs/{user}_@@", false, &variables, false, nullptr);
///
/// Plain data: one bag must not be changed by one thread while another uses it.

#include "basekit2/variant.h"
#include "vesta2/export.h"

namespace vesta2 {

/// A property bag whose variables are at vesta / variables / NAME. What else is put into it becomes
/// properties of the result. Adds no member to its base, and can be copied as one.
class VESTA2_API ResultVariableBag : public basekit2::variant_bag_t {
public:
    /// Makes an empty bag, or a copy of `*initial`.
    explicit ResultVariableBag(const basekit2::variant_bag_t* initial = nullptr);

    /// Stores `value` as the variable `name`, in the place of an earlier one. A null name stores
    /// nothing. Only strings are filled into names.
    void putVariable(const char* name, const basekit2::variant_t& value);
    /// Returns: whether there is such a variable, of whatever kind.
    bool hasVariable(const char* name) const;
    /// Returns: a copy of the value; an empty one without such a variable.
    basekit2::variant_t getVariable(const char* name) const;
};

}  // namespace vesta2
