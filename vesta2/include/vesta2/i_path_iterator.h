#pragma once

#include <cstdint>

#include "basekit2/object.h"
#include "vesta2/export.h"

namespace vesta2 {

/// Walks a fixed list of paths. References may be dropped on any thread; walking is for one thread
/// at a time.
class VESTA2_API IPathIterator : public basekit2::object_interface_t {
public:
    virtual std::uint32_t getSize() = 0;
    /// The current path, and on to the next; null at the end. The text is valid as long as the
    /// iterator lives, unless the class says less.
    virtual const char* next() = 0;
};

}  // namespace vesta2
