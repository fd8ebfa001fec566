#include <algorithm>
#include <array>
#include <memory>
#include <nlohmann/json.hpp>
#include <string_view>

#include "base/failure.h"
#include "base/presence.h"
#include "base/text.h"
#include "commands/arguments.h"
#include "nodes/contents.h"
#include "nodes/description.h"
#include "nodes/node_argument.h"
#include "nodes/properties.h"
#include "vesta2/i_project.h"
#include "vesta2/node.h"

namespace cli {
namespace {

struct Arguments {
    std::string node;
    std::vector<std::string> keys;
};

/// One line: `text` for people and scripts, `value` for JSON.
struct Fact {
    std::string key;
    std::string text;
    Json value;
    const char* style = "";
};

void addText(std::vector<Fact>& facts, const char* key, const char* text) {
    if (text && *text) {
        facts.push_back({key, text, jsonText(text)});
    }
}

void addNumber(std::vector<Fact>& facts, std::string_view key, std::uint64_t number) {
    facts.push_back({std::string(key), std::to_string(number), std::to_string(number)});
}

void addParents(std::vector<Fact>& facts, const basekit2::sptr_t<vesta2::INode>& node) {
    if (!vesta2::Node::isParentKnown(node)) {
        facts.push_back({"parent", "unknown", Json()});
        return;
    }
    if (const auto parent = node->getParent()) {
        addText(facts, "parent", parent->getPath());
    }
    if (const auto project = node->getProject()) {
        addText(facts, "project", project->getPath());
    }
    if (node->isLinked()) {
        addText(facts, "link", node->getLinkFilePath());
        const char* stale = node->isLinkStale() ? "stale" : "fresh";
        facts.push_back({"linkState", stale, stale});
    }
}

constexpr std::array<std::string_view, 3> contentKeys{"size", "files", "dataDirectories"};

/// These cost a walk through the whole node. One that is missing has none.
bool wantsContents(const std::vector<std::string>& keys) {
    return keys.empty() || std::find_first_of(keys.begin(), keys.end(), contentKeys.begin(),
                                              contentKeys.end()) != keys.end();
}

void addContents(std::vector<Fact>& facts, const basekit2::sptr_t<vesta2::INode>& node) {
    const Contents contents = contentsOf(node->getPath());
    addNumber(facts, contentKeys[0], contents.bytes);
    addNumber(facts, contentKeys[1], contents.files);
    if (const auto result = vesta2::IResultDirectory::cast(node)) {
        const auto directories = result->getCollectorDataDirectories();
        if (!directories) {
            throw Failure(exitFailure, node->getPath(), "cannot be listed",
                          "check the disk and whether you may read it, and try again");
        }
        addNumber(facts, contentKeys[2], directories->getSize());
    }
}

std::vector<Fact> gatherFacts(const basekit2::sptr_t<vesta2::INode>& node) {
    const Description description = describe(node);
    requireReadable(description);
    std::vector<Fact> facts;
    addText(facts, "path", description.path.c_str());
    addText(facts, "marker", node->getMarkerFilePath());
    addText(facts, "name", description.name.c_str());
    addText(facts, "kind", description.kind.c_str());
    if (!description.state.empty()) {
        facts.push_back(
            {"state", description.state, description.state, stateStyle(description.state)});
    }
    addParents(facts, node);
    return facts;
}

std::vector<Fact> gatherProperties(vesta2::INode& node, bool forPeople) {
    std::vector<Fact> facts;
    for (const Property& property : properties(node)) {
        std::string text = valueText(property.value);
        if (forPeople && isTime(property.key) && property.value.is_number()) {
            text += " (" + localTime(property.value.to_int64()) + ")";
        }
        facts.push_back({property.key, std::move(text), jsonValue(property.value)});
    }
    return facts;
}

Json toJson(const std::vector<Fact>& facts) {
    Json object = Json::object();
    for (const Fact& fact : facts) {
        object[jsonName(fact.key)] = fact.value;
    }
    return object;
}

void print(Session& session, const std::vector<Fact>& facts) {
    std::size_t width = 0;
    for (const Fact& fact : facts) {
        width = std::max(width, static_cast<std::size_t>(displayWidth(escapeText(fact.key))));
    }
    for (const Fact& fact : facts) {
        const std::string key = escapeText(fact.key);
        const std::string pad(width - static_cast<std::size_t>(displayWidth(key)) + 2, ' ');
        session.out.write(session.out.styled(key, "1") + (session.out.isTerminal() ? pad : "\t"));
        session.out.write(session.out.styled(escapeText(fact.text), fact.style));
        session.out.write("\n");
    }
}

/// Every key before the first output: either all values come, or none.
std::vector<Fact> select(const std::vector<Fact>& facts, const std::vector<std::string>& keys,
                         const std::string& path) {
    std::vector<Fact> chosen;
    for (const std::string& key : keys) {
        const auto found = std::find_if(facts.begin(), facts.end(),
                                        [&](const Fact& fact) { return fact.key == key; });
        if (found == facts.end()) {
            throw Failure(exitNotFound, path, "has no property " + shellQuote(key),
                          seeCommand("show", path) + " for all of them");
        }
        chosen.push_back(*found);
    }
    return chosen;
}

int run(const Arguments& arguments, Session& session) {
    const auto node = namedNode(arguments.node);
    std::vector<Fact> facts = gatherFacts(node);
    if (wantsContents(arguments.keys) && isThere(node->getPath())) {
        addContents(facts, node);
    }
    const bool wantsAll = arguments.keys.empty();
    const std::vector<Fact> fromMarker =
        gatherProperties(*node, wantsAll && session.out.isTerminal());
    if (wantsAll && session.json) {
        session.out.writeJson({{"node", toJson(facts)}, {"properties", toJson(fromMarker)}});
        return exitOk;
    }
    facts.insert(facts.end(), fromMarker.begin(), fromMarker.end());
    if (wantsAll) {
        print(session, facts);
        return exitOk;
    }
    const std::vector<Fact> chosen = select(facts, arguments.keys, node->getPath());
    if (session.json) {
        session.out.writeJson({{"values", toJson(chosen)}});
        return exitOk;
    }
    for (const Fact& fact : chosen) {
        session.out.write(escapeText(fact.text) + "\n");
    }
    return exitOk;
}

}  // namespace

Action show(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    nodeArgument(options, arguments->node);
    options.arguments("KEY", arguments->keys, "print the values of these alone, one a line", false);
    return makeAction(arguments, run);
}

}  // namespace cli
