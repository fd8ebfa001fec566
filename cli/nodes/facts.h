#pragma once
/// What selectors ask of a node.

#include <string>

#include "nodes/description.h"
#include "select/value.h"

namespace cli {

/// What `key` stands for: a fact that `factNames` tells, else the property of that path. Of a node
/// whose marker file could not be read most is unknown.
Value valueOf(vesta2::INode& node, const Description& description, const std::string& key);

/// How the values of `key` are written: those of a property tell by the unit in their name.
Measure measureOf(const std::string& key);

}  // namespace cli
