#include "vesta2/process_ids.h"

#include <unistd.h>

#include "process_status.h"

namespace vesta2::util {

int getPid() { return ::getpid(); }

int getPPid() { return ::getppid(); }

int getPpidFromProc(int pid) { return parentOf(pid); }

}  // namespace vesta2::util
