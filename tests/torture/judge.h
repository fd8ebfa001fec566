#pragma once

#include <string>
#include <vector>

#include "cases.h"

namespace torture {

/// Whatever the command was and however it ended: what is wrong now, a line each. Lists the nodes,
/// as the next user would.
std::vector<std::string> judge(const Case& each, const Scene& scene, const Fault& fault);

}  // namespace torture
