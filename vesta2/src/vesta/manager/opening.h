#pragma once

#include <string>

#include "basekit2/object.h"
#include "vesta2/error.h"
#include "vesta2/node.h"

namespace vesta2 {

/// The node of a marker or link file that a search has found, as `Interface`. An empty handle has
/// its reason in the status: that of the search, of the look-up, or `eNotFound` for what went
/// between the two or is a node of another kind.
template <class Interface>
basekit2::sptr_t<Interface> openFound(const std::string& found, const char* groupPath) {
    basekit2::sptr_t<Interface> node = Interface::cast(Node::lookup(found, groupPath));
    if (!node && getStatus() == eOK) {
        setStatus(eNotFound);
    }
    return node;
}

}  // namespace vesta2
