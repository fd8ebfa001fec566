#include "nodes/node_json.h"

#include <array>
#include <nlohmann/json.hpp>

#include "base/text.h"
#include "nodes/facts.h"

namespace cli {

Json jsonOf(const Value& value, Measure measure) {
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
        return measure == Measure::time ? Json(utcTime(*number)) : jsonNumber(*number);
    }
    const auto* texts = std::get_if<std::vector<std::string>>(&value);
    if (!texts) {
        return nullptr;
    }
    if (texts->size() == 1) {
        return jsonText(texts->front());
    }
    Json all = Json::array();
    for (const std::string& text : *texts) {
        all.push_back(jsonText(text));
    }
    return all;
}

Json nodeJson(vesta2::INode& node, const Description& description) {
    Json object = {{"path", jsonText(description.path)}};
    for (const char* key : {"name", "kind", "state", "when", "elapsed", "cpu", "memory", "exit",
                            "host", "rank", "link", "command", "tag", "note", "pinned"}) {
        object[key] = jsonOf(valueOf(node, description, key), measureOf(key));
    }
    // There may be several, and then an array is what always comes.
    Json tags = std::move(object["tag"]);
    object.erase("tag");
    object["tags"] = tags.is_null() ? Json::array() : tags.is_array() ? tags : Json::array({tags});
    object["pinned"] = !object["pinned"].is_null();
    if (description.link == "unknown") {
        object["link"] = "unknown";
    }
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
