#pragma once
/// What a program was run with: its file, the environment, the limits.

#include <functional>
#include <string>
#include <vector>

#include "vesta2/i_node.h"

namespace cli {

/// Gets a line for the log.
using Report = std::function<void(const std::string&)>;

/// Put properties in memory. What cannot be told is left out, and `report` is told why.
void putProgram(vesta2::INode& node, const std::string& program, const Report& report);
/// Those variables that tell how programs are loaded and run, and those whose names match one of
/// `masks`.
void putEnvironment(vesta2::INode& node, const std::vector<std::string>& masks,
                    const Report& report);
/// The soft limits; none where there is no limit.
void putLimits(vesta2::INode& node);

}  // namespace cli
