#include <algorithm>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

#include "base/text.h"
#include "commands/arguments.h"
#include "nodes/columns.h"
#include "nodes/description.h"
#include "nodes/facts.h"
#include "nodes/grouping.h"
#include "nodes/node_argument.h"
#include "nodes/node_json.h"
#include "nodes/selection.h"
#include "output/table.h"

namespace cli {
namespace {

/// Whether its link does not tell where the node is: then there is no group to look into.
bool isPlaceless(const Description& node) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(node.path, ignored);
}

struct Arguments {
    Selector selector;
    std::string mask = "*";
    std::string kind;
    std::string state;
    std::vector<std::string> columns;
    std::vector<std::string> sort;
    std::string groupBy;
    std::string format;
    int limit = 0;
    bool reverse = false;
    bool recursive = false;
    bool details = false;
};

/// The names of the groups on the way from the group that was asked for down to a row.
using GroupNames = std::vector<std::string>;

struct Row {
    Description node;
    bool isWanted = false;
    std::vector<Value> values;    ///< of the columns
    std::vector<Value> sortedBy;  ///< of the keys to sort by
    std::unique_ptr<Json> json{};
};

/// Shown to people alone, where it tells rows apart.
bool isOnlyForDifferences(const std::string& key) {
    return key == "kind" || key == "host" || key == "rank";
}

std::vector<std::string> columnKeys(const Arguments& arguments, const Output& out) {
    if (!arguments.columns.empty()) {
        return splitKeys(arguments.columns, "--columns");
    }
    if (!arguments.groupBy.empty()) {
        return {"elapsed", "cpu", "memory"};
    }
    std::vector<std::string> keys{"name",    "kind", "state",  "when", "host", "rank",
                                  "elapsed", "cpu",  "memory", "exit", "tag"};
    if (arguments.details) {
        keys.insert(keys.end(), {"size", "link", "path"});
    }
    keys.emplace_back("command");
    if (arguments.format != "table" && (!arguments.format.empty() || !out.isTerminal())) {
        std::erase_if(keys, isOnlyForDifferences);
    }
    return keys;
}

std::vector<Column> columnsFor(const std::vector<std::string>& keys, bool areUsual) {
    // Those that are missed least come last.
    static const std::vector<std::string> leftOut{"exit", "kind", "memory", "when", "tag",
                                                  "cpu",  "host", "rank",   "link", "path"};
    std::vector<Column> columns;
    columns.reserve(keys.size());
    for (const std::string& key : keys) {
        Column column = columnFor(key);
        const auto at = std::ranges::find(leftOut, key);
        if (areUsual) {
            column.isOnlyForDifferences = isOnlyForDifferences(key);
            column.leftOutAs = at == leftOut.end() ? 0 : static_cast<int>(at - leftOut.begin()) + 1;
        }
        columns.push_back(std::move(column));
    }
    return columns;
}

/// Prints rows as they come, unless they must be sorted or counted first.
class Listing {
public:
    Listing(const Arguments& arguments, Session& session)
        : m_arguments(arguments),
          m_filter(arguments.selector.where),
          m_session(session),
          m_keys(columnKeys(arguments, session.out)),
          m_sortKeys(splitKeys(arguments.sort, "--sort")),
          m_table(session.out, columnsFor(m_keys, arguments.columns.empty()),
                  formatOf(arguments.format)),
          m_json(session.out, "nodes", Json::object()) {
        if (!arguments.groupBy.empty()) {
            m_grouping.emplace(arguments.groupBy, m_keys);
        }
    }

    /// Lists these nodes, and with recursion all below them.
    void add(const std::vector<Member>& members, const GroupNames& groups) {
        std::vector<Row> rows;
        for (std::size_t i = members.size() - wantedOf(members.size());
             !isFull() && i < members.size(); ++i) {
            // Only one node of a group is open at a time, and one that has just been removed is no
            // error.
            const auto node = openMember(members[i].marker);
            if (!node) {
                continue;
            }
            Row row = read(*node, members[i].name, describe(node), groups);
            if (isStreaming()) {
                show(row, groups);
            } else {
                rows.push_back(std::move(row));
            }
        }
        sort(rows);
        for (auto row = rows.begin(); row != rows.end() && !isFull(); ++row) {
            show(*row, groups);
        }
    }
    /// Lists nodes that were selected.
    void addSelected(const std::vector<Member>& members) {
        m_filter = Filter({});
        add(members, {});
    }

    void finish() {
        if (m_grouping) {
            m_grouping->print(m_session, formatOf(m_arguments.format));
        } else if (m_session.json) {
            m_json.finish();
        } else if (!isJson()) {
            m_table.finish();
        }
        m_filter.noteUnusedKeys(m_session);
        if (m_shown > 0 || m_grouping) {
            m_keyUse.noteUnused(m_session);
        }
    }

    [[nodiscard]] int shown() const { return m_shown; }

private:
    Row read(vesta2::INode& node, const std::string& name, Description description,
             const GroupNames& groups) {
        description.name = name;
        Row row;
        row.node = std::move(description);
        row.isWanted = isWanted(node, row.node);
        if (!row.isWanted) {
            return row;
        }
        const auto valuesOf = [&](const std::vector<std::string>& keys) {
            std::vector<Value> values;
            values.reserve(keys.size());
            for (const std::string& key : keys) {
                values.push_back(valueOf(node, row.node, key));
                m_keyUse.add(key, values.back());
            }
            return values;
        };
        row.sortedBy = valuesOf(m_sortKeys);
        if (m_grouping) {
            row.values = valuesOf(m_keys);
            row.values.push_back(valuesOf({m_arguments.groupBy}).front());
        } else if (isJson()) {
            row.json = std::make_unique<Json>(json(node, row.node, groups));
        } else {
            row.values = valuesOf(m_keys);
        }
        return row;
    }

    Json json(vesta2::INode& node, const Description& description, const GroupNames& groups) {
        Json object = nodeJson(node, description);
        if (m_arguments.details) {
            object["size"] = jsonOf(valueOf(node, description, "size"), "size");
        }
        if (m_arguments.recursive) {
            Json names = Json::array();
            for (const std::string& name : groups) {
                names.push_back(jsonText(name));
            }
            object["groups"] = std::move(names);
        }
        if (!m_arguments.columns.empty()) {
            Json values = Json::object();
            for (const std::string& key : m_keys) {
                const Value value = valueOf(node, description, key);
                m_keyUse.add(key, value);
                values[jsonName(key)] = jsonOf(value, key);
            }
            object["values"] = std::move(values);
        }
        return object;
    }

    [[nodiscard]] bool isJson() const { return m_session.json || m_arguments.format == "jsonl"; }
    [[nodiscard]] bool isByName() const {
        return m_sortKeys.empty() || m_sortKeys == std::vector<std::string>{"name"};
    }
    /// The nodes come by name already.
    [[nodiscard]] bool isStreaming() const { return isByName() && !m_arguments.reverse; }
    [[nodiscard]] bool isFull() const {
        return m_arguments.limit > 0 && m_shown >= m_arguments.limit;
    }
    /// What could not be read is shown, and seen to be so.
    bool isWanted(vesta2::INode& node, const Description& description) {
        return (m_arguments.kind.empty() || description.kind == m_arguments.kind) &&
               (m_arguments.state.empty() || description.state == m_arguments.state) &&
               m_filter.selects(node, description).value_or(true);
    }
    /// How many of so many, the last ones, suffice, so that no others are opened.
    [[nodiscard]] std::size_t wantedOf(std::size_t count) const {
        const bool all =
            m_arguments.kind.empty() && m_arguments.state.empty() && m_filter.takesAll();
        const bool isLimited = isByName() && m_arguments.reverse && all && !m_arguments.recursive &&
                               m_arguments.limit > 0;
        return isLimited ? std::min(count, static_cast<std::size_t>(m_arguments.limit)) : count;
    }

    /// Where the values are equal the order stays. What has none is the last in both directions.
    void sort(std::vector<Row>& rows) const {
        if (isByName()) {
            std::ranges::reverse(rows);
            return;
        }
        std::ranges::stable_sort(rows, [&](const Row& a, const Row& b) {
            for (std::size_t i = 0; i < std::min(a.sortedBy.size(), b.sortedBy.size()); ++i) {
                const int order = compare(m_sortKeys[i], a.sortedBy[i], b.sortedBy[i]);
                const bool isTurned =
                    m_arguments.reverse && isPresent(a.sortedBy[i]) && isPresent(b.sortedBy[i]);
                if (order != 0) {
                    return (order < 0) != isTurned;
                }
            }
            return a.sortedBy.size() > b.sortedBy.size();  // only those that are wanted have values
        });
    }
    static int compare(const std::string& key, const Value& a, const Value& b) {
        if (key != "name") {
            return compareValues(a, b);
        }
        const std::string one = exactText(a, Measure::text);
        const std::string other = exactText(b, Measure::text);
        return isCountedBefore(one, other) ? -1 : isCountedBefore(other, one);
    }

    /// Prints the row if it is wanted, and with recursion the nodes below it.
    void show(const Row& row, const GroupNames& groups) {
        if (row.isWanted) {
            ++m_shown;
            if (m_grouping) {
                m_grouping->add(row.values.back(), {row.values.begin(), row.values.end() - 1});
            } else if (m_session.json) {
                m_json.add(*row.json);
            } else if (isJson()) {
                const bool isTerminal = m_session.out.isTerminal();
                m_session.out.write(withSchema({{"node", *row.json}}).dump(-1, ' ', isTerminal) +
                                    "\n");
            } else {
                writeRow(row, groups);
            }
        }
        if (!m_arguments.recursive || row.node.kind == "result" || row.node.state == "missing" ||
            isPlaceless(row.node) || isFull() || !m_visited.insert(row.node.path).second) {
            return;
        }
        GroupNames below = groups;
        below.push_back(row.node.name);
        add(membersOf(row.node.path), below);
    }

    /// For people a tree; for programs the way to the node.
    [[nodiscard]] std::string nameAt(const GroupNames& groups, const std::string& name) const {
        if (m_table.isForPeople()) {
            return std::string(2 * groups.size(), ' ') + name;
        }
        std::string way;
        for (const std::string& group : groups) {
            way.append(group).append("/");
        }
        return way + name;
    }

    void writeRow(const Row& row, const GroupNames& groups) {
        std::vector<Cell> cells;
        cells.reserve(m_keys.size());
        for (std::size_t i = 0; i < m_keys.size(); ++i) {
            cells.push_back(cellFor(m_keys[i], row.values[i], m_table.isForPeople()));
            if (m_keys[i] == "name") {
                cells.back().text = nameAt(groups, row.node.name);
            }
        }
        m_table.add(std::move(cells));
    }

    const Arguments& m_arguments;
    Filter m_filter;
    KeyUse m_keyUse;
    Session& m_session;
    const std::vector<std::string> m_keys;
    const std::vector<std::string> m_sortKeys;
    std::optional<Grouping> m_grouping;
    Table m_table;
    JsonArrayOutput m_json;
    std::set<std::string> m_visited;  ///< groups: links can lead back to one
    int m_shown = 0;
};

/// A single word that leads to a directory other than a result's is the group to list.
bool isGroup(const std::string& argument) {
    const std::string path = requirePath(argument);
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (status.type() == std::filesystem::file_type::none) {
        throw Failure::fromErrno(error.value(), path);
    }
    return std::filesystem::is_directory(status) && !vesta2::IResultDirectory::probe(path.c_str());
}

int run(const Arguments& arguments, Session& session) {
    requireMask(arguments.mask);
    // Groups are few, and come as one object.
    const bool areLines = arguments.format == "jsonl" && arguments.groupBy.empty();
    session.json = session.json || (arguments.format.starts_with("json") && !areLines);
    if (!areLines) {
        session.page();
    }
    Listing listing(arguments, session);
    const std::vector<std::string>& words = arguments.selector.nodes;
    std::string where = words.empty() ? "." : words.front();
    if (words.empty() || (words.size() == 1 && isGroup(where))) {
        where = namedGroup(where)->getPath();
        listing.add(matching(membersOf(where), arguments.mask), {});
    } else {
        listing.addSelected(selectMembers(arguments.selector, session, Doubt::selects));
    }
    listing.finish();
    if (listing.shown() == 0 && session.out.isTerminal() && !session.json) {
        session.note(escapeText(where + ": no such nodes here"));
    }
    return exitOk;
}

}  // namespace

Action list(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    options.arguments({"GROUP", Stands::node}, arguments->selector.nodes,
                      "a project, an experiment or a directory, else the working directory; or "
                      "NODEs",
                      false);
    options.option("--mask", "M", arguments->mask, "only what this name, pattern or glob matches");
    options.choice("--kind", arguments->kind, {"result", "experiment", "project"},
                   "only this kind");
    options.choice(
        "--state", arguments->state,
        {"incomplete", "collecting", "orphaned", "finalized", "invalid", "unreadable", "missing"},
        "only this state");
    whereOption(options, arguments->selector.where);
    options.option("--columns", {"KEY,...", Stands::keys}, arguments->columns,
                   "facts and properties to show");
    options.option("--sort", {"KEY,...", Stands::keys}, arguments->sort,
                   "the keys to sort by; else name");
    options.flag("--reverse", arguments->reverse, "in reverse order");
    options.option("--limit", "N", arguments->limit, 1, 1000000000, "at most N rows");
    options.option("--group-by", {"KEY", Stands::key}, arguments->groupBy,
                   "count the nodes by a key, with least, median and greatest of the columns");
    options.choice("--format", arguments->format, {"table", "tsv", "csv", "json", "jsonl"},
                   "how to print; else a table on a terminal, and lines with tabs elsewhere");
    options.flag("-r,--recursive", arguments->recursive, "also what the groups in it hold");
    options.flag("-l,--long", arguments->details, "also size, link and path");
    return makeAction(arguments, run);
}

}  // namespace cli
