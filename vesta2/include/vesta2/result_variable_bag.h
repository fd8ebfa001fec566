#pragma once
/// The bag of a new result, with the variables of its name. Plain data.

#include "basekit2/variant.h"
#include "vesta2/export.h"

namespace vesta2 {

/// A property bag whose variables are at vesta / variables / NAME.
class VESTA2_API ResultVariableBag : public basekit2::variant_bag_t {
public:
    /// Empty, or a copy of `*initial`.
    explicit ResultVariableBag(const basekit2::variant_bag_t* initial = nullptr);

    /// Stores `value` under `name`, which a null name does not.
    void putVariable(const char* name, const basekit2::variant_t& value);
    bool hasVariable(const char* name) const;
    /// The value, or an empty variant.
    basekit2::variant_t getVariable(const char* name) const;
};

}  // namespace vesta2
