#pragma once

#include <cstdint>

#include "basekit2/object.h"
#include "vesta2/export.h"

namespace vesta2 {

/// Who holds a flag, and since when. Texts are valid as long as the object lives.
class VESTA2_API IFlagData : public basekit2::object_interface_t {
public:
    /// Seconds since the Epoch; 0 when unknown.
    [[nodiscard]] virtual std::int64_t getTimestamp() const = 0;
    [[nodiscard]] virtual const char* getOwner() const = 0;
    [[nodiscard]] virtual const char* getHostname() const = 0;
};

}  // namespace vesta2
