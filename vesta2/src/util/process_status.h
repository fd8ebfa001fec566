#pragma once

#include <istream>

namespace vesta2::util {

/// The parent in the text of a process's status; 0 when it does not tell.
int readPpid(std::istream& status);

}  // namespace vesta2::util
