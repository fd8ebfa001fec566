#pragma once
/// The record of one flag: who claimed it, and when.
///
/// An object never changes: any thread may use it.

#include <cstdint>

#include "basekit2/object.h"
#include "vesta2/export.h"

namespace vesta2 {

/// Given out by `INode::addFlag`. Lifetime: a text is valid as long as the object.
class VESTA2_API IFlagData : public basekit2::object_interface_t {
public:
    /// Returns: when the flag was claimed, in seconds since the Epoch; 0 when unknown.
    [[nodiscard]] virtual std::int64_t getTimestamp() const = 0;
    /// Returns: the login name of the user whose process claimed it; "" when unknown.
    [[nodiscard]] virtual const char* getOwner() const = 0;
    /// Returns: the full name of the host that the process runs on; "" when unknown.
    [[nodiscard]] virtual const char* getHostname() const = 0;
};

}  // namespace vesta2
