#include "basekit2/object.h"

namespace basekit2 {

object_interface_t::~object_interface_t() = default;

const std::type_info& object_interface_t::get_type() const { return typeid(*this); }

}  // namespace basekit2
