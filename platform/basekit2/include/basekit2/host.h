#pragma once
/// What the process can tell of its host and its environment.
///
/// Any thread may call any function, as long as none changes the environment.

#include <string>

#include "basekit2/export.h"

namespace basekit2 {

/// Asks the kernel, and no name service.
/// Returns: the host name, with the domain name appended when the host name has no dot and a domain
/// is set; empty when the kernel does not tell.
BASEKIT2_API std::string get_fq_host_name();

/// Looks an environment variable up.
/// Returns: its value; empty when it is unset or `name` is null.
BASEKIT2_API std::string get_environ_value(const char* name);

}  // namespace basekit2
