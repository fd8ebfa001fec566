#include "vesta2/result_variable_bag.h"

#include "vesta2/property_names.h"

namespace vesta2 {
namespace {

const basekit2::variant_t* findVariable(const basekit2::variant_bag_t& bag, const char* name) {
    const basekit2::variant_bag_t* vesta = bag.get_bag(section::vesta);
    const basekit2::variant_bag_t* variables = vesta ? vesta->get_bag(section::variables) : nullptr;
    return variables && name ? variables->find(name) : nullptr;
}

}  // namespace

ResultVariableBag::ResultVariableBag(const basekit2::variant_bag_t* initial)
    : variant_bag_t(initial ? *initial : variant_bag_t()) {}

void ResultVariableBag::putVariable(const char* name, const basekit2::variant_t& value) {
    if (name) {
        put_bag(section::vesta).put_bag(section::variables).put(name, value);
    }
}

bool ResultVariableBag::hasVariable(const char* name) const {
    return findVariable(*this, name) != nullptr;
}

basekit2::variant_t ResultVariableBag::getVariable(const char* name) const {
    const basekit2::variant_t* value = findVariable(*this, name);
    return value ? *value : basekit2::variant_t();
}

}  // namespace vesta2
