#pragma once
/// Nodes as JSON: the one shape that every command prints. docs/json.md describes it.

#include "nodes/description.h"
#include "output/item_report.h"
#include "output/json.h"
#include "output/session.h"
#include "select/value.h"

namespace cli {

/// The value of a fact in the form that it has in a node, and of a property as `jsonValue` gives
/// it; null where there is none or where it could not be read.
Json jsonOf(const Value& value, const std::string& key);

Json nodeJson(vesta2::INode& node, const Description& description);
Json nodeJson(const basekit2::sptr_t<vesta2::INode>& node);

/// Reports a node by its path.
void reportItem(ItemReport& report, const basekit2::sptr_t<vesta2::INode>& node);

/// Prints the result of a command on a node: as JSON the node, else `text`. Returns the exit code
/// of success.
int reportNode(Session& session, const basekit2::sptr_t<vesta2::INode>& node,
               const std::string& text);

}  // namespace cli
