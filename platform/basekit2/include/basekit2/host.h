#pragma once
/// What the process can tell of its host and its environment.

#include <string>

#include "basekit2/export.h"

namespace basekit2 {

/// The kernel's host name, with the kernel's domain name appended when the host name has no dot and
/// a domain is set. Asks no name service. Empty when the kernel does not tell.
BASEKIT2_API std::string get_fq_host_name();

/// The value of an environment variable, empty when it is unset or `name` is null.
BASEKIT2_API std::string get_environ_value(const char* name);

}  // namespace basekit2
