#include <algorithm>
#include <array>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string_view>
#include <utility>

#include "base/failure.h"
#include "base/presence.h"
#include "base/text.h"
#include "commands/arguments.h"
#include "nodes/contents.h"
#include "nodes/description.h"
#include "nodes/facts.h"
#include "nodes/node_argument.h"
#include "nodes/node_json.h"
#include "nodes/properties.h"
#include "nodes/selection.h"
#include "output/item_report.h"
#include "select/keys.h"
#include "vesta2/i_project.h"
#include "vesta2/node.h"

namespace cli {
namespace {

struct Arguments {
    std::vector<std::string> words;
    std::vector<std::string> where;
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
    facts.push_back(
        {std::string(key), std::to_string(number), jsonNumber(static_cast<std::int64_t>(number))});
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
        addText(facts, "linkFile", node->getLinkFilePath());
        const char* stale = node->isLinkStale() ? "stale" : "linked";
        facts.push_back({"link", stale, stale});
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

std::vector<Fact> gatherFacts(const basekit2::sptr_t<vesta2::INode>& node,
                              const Description& description) {
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

/// What can be told of a node.
struct Account {
    Description description;
    std::vector<Fact> facts;
    std::vector<Fact> properties;
};

Account accountOf(const basekit2::sptr_t<vesta2::INode>& node, const std::vector<std::string>& keys,
                  bool forPeople) {
    Account account{describe(node), {}, {}};
    account.facts = gatherFacts(node, account.description);
    account.properties = gatherProperties(*node, forPeople);
    if (wantsContents(keys) && isThere(node->getPath())) {
        addContents(account.facts, node);
    }
    return account;
}

/// The value of a key of a node; raises `Failure` when it has none.
Fact chosen(const basekit2::sptr_t<vesta2::INode>& node, const Account& account,
            const std::string& key) {
    for (const std::vector<Fact>* facts : {&account.facts, &account.properties}) {
        const auto found = std::ranges::find(*facts, key, &Fact::key);
        if (found != facts->end()) {
            return *found;
        }
    }
    const Value value = findFact(key) ? valueOf(*node, account.description, key) : Value();
    if (!isPresent(value)) {
        const std::string path = node->getPath();
        throw Failure(exitNotFound, path,
                      "has no property " + shellQuote(key) + ", and no node is called so",
                      seeCommand("show", path) + " for all that it has");
    }
    return {key, exactText(value, measureOf(key)), jsonOf(value, key)};
}

/// What a word behind the first can name of the first node, rather than another node.
class FirstNode {
public:
    explicit FirstNode(const std::string& marker) : m_marker(marker) {}

    bool has(const std::string& key) {
        if (findFact(key) || std::ranges::count(contentKeys, key) != 0) {
            return true;
        }
        if (!std::exchange(m_isRead, true)) {
            read();
        }
        return m_keys.contains(key);
    }

private:
    void read() {
        if (const auto node = openMember(m_marker)) {
            for (const Fact& fact : gatherFacts(node, describe(node))) {
                m_keys.insert(fact.key);
            }
            for (const Property& property : properties(*node)) {
                m_keys.insert(property.key);
            }
        }
    }

    const std::string m_marker;
    bool m_isRead = false;
    std::set<std::string> m_keys;
};

/// Which words are NODEs, and which KEYs.
struct Request {
    Selector selector;
    std::vector<std::string> keys;
    NodeFinder finder{};
};

Request sortWords(const Arguments& arguments) {
    Request request{{{}, arguments.where}, arguments.keys};
    if (!arguments.where.empty() || arguments.words.empty()) {
        request.selector.nodes = arguments.words;
        return request;
    }
    request.selector.nodes = {arguments.words.front()};
    FirstNode first(request.finder.membersNamed(arguments.words.front()).front().marker);
    for (auto word = arguments.words.begin() + 1; word != arguments.words.end(); ++word) {
        bool isNode = false;
        if (!first.has(*word)) {
            try {
                isNode = !request.finder.membersNamed(*word).empty();
            } catch (const Failure& failure) {
                if (failure.code() != exitNotFound) {
                    throw;
                }
            }
        }
        (isNode ? request.selector.nodes : request.keys).push_back(*word);
    }
    return request;
}

Json json(const basekit2::sptr_t<vesta2::INode>& node, const Account& account,
          const std::vector<std::string>& keys) {
    Json object = nodeJson(node);
    if (keys.empty()) {
        for (const char* key :
             {"marker", "parent", "project", "size", "files", "dataDirectories"}) {
            object[key] = nullptr;  // unless there is one
        }
        object.update(toJson(account.facts));
        object["properties"] = toJson(account.properties);
        return object;
    }
    std::vector<Fact> values;
    values.reserve(keys.size());
    for (const std::string& key : keys) {
        values.push_back(chosen(node, account, key));
    }
    object["values"] = toJson(values);
    return object;
}

basekit2::sptr_t<vesta2::INode> open(const Member& member) {
    auto node = openMember(member.marker);
    if (!node) {
        throw Failure::fromErrno(ENOENT, member.marker);
    }
    return node;
}

/// All about each, as they come.
void showAll(const std::vector<Member>& members, Session& session) {
    ItemReport report(session, "nodes");
    for (const Member& member : members) {
        const auto node = open(member);
        Account account = accountOf(node, {}, session.out.isTerminal() && !session.json);
        if (session.json) {
            report.add({}, [&] { return json(node, account, {}); });
            continue;
        }
        session.out.write(&member == members.data() ? "" : "\n");
        account.facts.insert(account.facts.end(), account.properties.begin(),
                             account.properties.end());
        print(session, account.facts);
    }
    report.finish();
}

/// The values of keys: all come, or none.
void showValues(const std::vector<Member>& members, const std::vector<std::string>& keys,
                Session& session) {
    std::vector<std::string> texts;
    for (const Member& member : members) {
        const auto node = open(member);
        const Account account = accountOf(node, keys, false);
        if (session.json) {
            texts.push_back(session.out.jsonText(json(node, account, keys)));
            continue;
        }
        for (const std::string& key : keys) {
            texts.push_back(escapeText(chosen(node, account, key).text) + "\n");
        }
    }
    JsonArrayOutput nodes(session.out, "nodes", Json::object());
    for (std::string& text : texts) {
        if (session.json) {
            nodes.addText(std::move(text));
        } else {
            session.out.write(text);
        }
    }
    if (session.json) {
        nodes.finish();
    }
}

int run(const Arguments& arguments, Session& session) {
    Request request = sortWords(arguments);
    const std::vector<Member> members =
        selectMembers(request.selector, session, Doubt::fails, std::move(request.finder));
    session.page();
    if (session.json && members.size() == 1) {
        const auto node = open(members.front());
        const Account account = accountOf(node, request.keys, false);
        session.out.writeJson({{"node", json(node, account, request.keys)}});
    } else if (request.keys.empty()) {
        showAll(members, session);
    } else {
        showValues(members, request.keys, session);
    }
    return exitOk;
}

}  // namespace

Action show(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    options.arguments({"NODE", Stands::nodeOrKey}, arguments->words,
                      "which nodes, and behind them KEYs: their values alone, one a line", false);
    whereOption(options, arguments->where);
    options.option("--key", {"KEY", Stands::key}, arguments->keys,
                   "a KEY that could also name a node");
    return makeAction(arguments, run);
}

}  // namespace cli
