#pragma once

#include "basekit2/variant.h"

namespace vesta2 {

/// Puts what is known of a node when it is made (when, where, by which product) into the section
/// "vesta" of `bag`, replacing keys of the same names.
void fillCreationRecord(basekit2::variant_bag_t& bag);

}  // namespace vesta2
