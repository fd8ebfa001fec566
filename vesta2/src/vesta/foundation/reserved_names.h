#pragma once

#include <string>

namespace vesta2 {

/// Whether an upper-cased base name names a device, which no file may then be called.
/// Deliberate: never on this platform. Where devices have such names they are CON, PRN, AUX, NUL,
/// COM1 to COM9 and LPT1 to LPT9.
inline bool isReservedDeviceName(const std::string& /*upperCaseName*/) { return false; }

}  // namespace vesta2
