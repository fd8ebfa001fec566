#include "nodes/node_json.h"

#include <nlohmann/json.hpp>

#include "base/text.h"
#include "nodes/facts.h"
#include "select/keys.h"

namespace cli {
namespace {

/// Whether these are the digits of a number of 64 bits that is too great for a `Value`.
bool isGreatNumber(const std::string& digits) {
    constexpr std::size_t fewest = 19;
    return digits.size() >= fewest && digits.find_first_not_of("0123456789") == std::string::npos;
}

}  // namespace

Json jsonOf(const Value& value, const std::string& key) {
    const bool isUnknown = std::holds_alternative<Unknown>(value);
    if (key == "link" && isUnknown) {
        return "unknown";
    }
    if (key == "pinned" && !isUnknown) {
        return isPresent(value);
    }
    const auto* const texts = std::get_if<std::vector<std::string>>(&value);
    if (key == "tag" && !isUnknown) {
        Json all = Json::array();
        for (const std::string& text : texts ? *texts : std::vector<std::string>()) {
            all.push_back(jsonText(text));
        }
        return all;
    }
    const FactKey* const fact = findFact(key);
    const Measure measure = fact ? fact->measure : Measure::any;
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
        return measure == Measure::time ? Json(utcTime(*number)) : jsonNumber(*number);
    }
    if (!texts) {
        return nullptr;
    }
    const std::string& text = texts->front();
    const bool isText = measure == Measure::text || measure == Measure::any;
    return isText || isGreatNumber(text) ? jsonText(text) : Json();
}

Json nodeJson(vesta2::INode& node, const Description& description) {
    Json object = {{"path", jsonText(description.path)}};
    const auto add = [&](const char* member, const char* key) {
        object[member] = jsonOf(valueOf(node, description, key), key);
    };
    for (const char* key : {"name", "kind", "state", "when", "elapsed", "cpu", "memory", "exit",
                            "host", "rank", "link"}) {
        add(key, key);
    }
    object["linkFile"] = jsonTextOrNull(node.getLinkFilePath());
    add("command", "command");
    add("tags", "tag");
    add("note", "note");
    add("pinned", "pinned");
    return object;
}

Json nodeJson(const basekit2::sptr_t<vesta2::INode>& node) {
    return nodeJson(*node, describe(node));
}

void reportItem(ItemReport& report, const basekit2::sptr_t<vesta2::INode>& node) {
    report.add(node->getPath(), [&] { return nodeJson(node); });
}

int reportNode(Session& session, const basekit2::sptr_t<vesta2::INode>& node,
               const std::string& text) {
    if (session.json) {
        session.out.writeJson({{"node", nodeJson(node)}});
    } else {
        session.out.writeText(text);
    }
    return exitOk;
}

}  // namespace cli
