#pragma once
/// The process numbers that the records of flags hold.
///
/// Any thread may call any function. They are numbers of the caller's process namespace: in a
/// container they differ from those outside.

#include "vesta2/export.h"

namespace vesta2::util {

/// Returns: the number of this process. In a child of `fork` it is the child's.
VESTA2_API int getPid();
/// Returns: the number of the process that started this one, or that adopted it since.
VESTA2_API int getPPid();

/// Returns: the parent that the kernel reports for the process `pid`; 0 when it has none, when
/// there is no such process, or when /proc does not tell.
VESTA2_API int getPpidFromProc(int pid);

}  // namespace vesta2::util
