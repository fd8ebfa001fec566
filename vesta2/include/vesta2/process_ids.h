#pragma once
/// Which process is who. Safe from any thread.

#include "vesta2/export.h"

namespace vesta2::util {

VESTA2_API int getPid();
VESTA2_API int getPPid();

/// The parent that the kernel reports for the process `pid`; 0 when it has none or there is no such
/// process.
VESTA2_API int getPpidFromProc(int pid);

}  // namespace vesta2::util
