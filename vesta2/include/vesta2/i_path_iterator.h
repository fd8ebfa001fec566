#pragma once
/// A walk over paths that were found before it began.
///
/// References may be dropped on any thread; walking is for one thread at a time.

#include <cstdint>

#include "basekit2/object.h"
#include "vesta2/export.h"

namespace vesta2 {

/// Given out by groups and results, which tell what the paths are and in which order they come.
class VESTA2_API IPathIterator : public basekit2::object_interface_t {
public:
    /// Returns: how many paths there are in all.
    virtual std::uint32_t getSize() = 0;
    /// Moves on to the next path.
    /// Returns: the path that was the current one; null at the end.
    /// Lifetime: as long as the iterator, unless the class says less.
    virtual const char* next() = 0;
};

}  // namespace vesta2
