#include <algorithm>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

#include "base/presence.h"
#include "base/text.h"
#include "commands/arguments.h"
#include "nodes/contents.h"
#include "nodes/description.h"
#include "nodes/filter.h"
#include "nodes/members.h"
#include "nodes/node_argument.h"
#include "output/table.h"
#include "vesta2/node.h"

namespace cli {
namespace {

/// Whether its link does not tell where the node is: then there is no group to look into.
bool isPlaceless(const Description& node) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(node.path, ignored);
}

struct Arguments {
    std::string group = ".";
    std::string mask = "*";
    std::string kind;
    std::string state;
    std::vector<std::string> where;
    std::string sort = "name";
    int limit = 0;
    bool reverse = false;
    bool recursive = false;
    bool details = false;
};

struct Row {
    Description node;
    bool isWanted;
    std::optional<std::uint64_t> size;  ///< nothing when it could not be told
};

std::optional<std::uint64_t> sizeOf(const Description& node) {
    try {
        return contentsOf(node.path).bytes;
    } catch (const std::filesystem::filesystem_error&) {
        return std::nullopt;
    }
}

/// The names of the groups on the way from the group that was asked for down to a row.
using GroupNames = std::vector<std::string>;

bool isBefore(const std::string& key, const Row& a, const Row& b) {
    if (key == "when") {
        return a.node.time < b.node.time;
    }
    if (key == "rank") {
        return a.node.rank < b.node.rank;
    }
    if (key == "size") {
        return a.size < b.size;
    }
    const auto text = [&](const Description& node) -> const std::string& {
        return key == "kind"    ? node.kind
               : key == "state" ? node.state
               : key == "host"  ? node.host
                                : node.command;
    };
    return text(a.node) < text(b.node);
}

/// Prints rows as they come, unless they must be sorted first.
class Listing {
public:
    Listing(const Arguments& arguments, Session& session)
        : m_arguments(arguments),
          m_filter(arguments.where),
          m_session(session),
          m_table(session.out, arguments.details ? longColumns() : shortColumns()),
          m_json(session.out, "nodes") {}

    /// Lists the nodes of `group` that match `mask`, and with recursion all below them.
    void add(vesta2::INodeGroup& group, const std::string& mask, const GroupNames& groups) {
        const std::vector<std::string> markers = membersAt(mask, group.getPath());
        std::vector<Row> rows;
        for (std::size_t i = markers.size() - wantedOf(markers.size());
             !isFull() && i < markers.size(); ++i) {
            // Only one node of a group is open at a time, and one that has just been removed is no
            // error.
            const auto node = vesta2::Node::lookup(markers[i], nullptr);
            if (!node && isThere(markers[i])) {
                throw Failure::fromStatus(vesta2::getStatus(), markers[i]);
            }
            if (!node) {
                continue;
            }
            Row row{describe(node), false, std::nullopt};
            row.isWanted = isWanted(*node, row.node);
            if (needsSize()) {
                row.size = sizeOf(row.node);
            }
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

    void finish() {
        if (m_session.json) {
            m_json.finish();
        }
        m_table.finish();
        m_filter.noteUnusedKeys(m_session);
    }

    [[nodiscard]] int shown() const { return m_shown; }

private:
    static std::vector<Column> shortColumns() {
        return {{"NAME"},
                {"KIND", Column::Align::left, true},
                {"STATE", Column::Align::left, true},
                {"WHEN", Column::Align::left, true},
                {"HOST"},
                {"RANK", Column::Align::right, true},
                {"COMMAND"}};
    }
    static std::vector<Column> longColumns() {
        std::vector<Column> columns = shortColumns();
        columns.insert(
            columns.end() - 1,
            {{"SIZE", Column::Align::right, true}, {"LINK", Column::Align::left, true}, {"PATH"}});
        return columns;
    }

    /// A size costs a walk through the whole node.
    [[nodiscard]] bool needsSize() const {
        return m_arguments.details || m_arguments.sort == "size";
    }
    /// The nodes come by name already.
    [[nodiscard]] bool isStreaming() const {
        return m_arguments.sort == "name" && !m_arguments.reverse;
    }
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
        const bool byName = m_arguments.sort == "name" && m_arguments.reverse;
        const bool all =
            m_arguments.kind.empty() && m_arguments.state.empty() && m_filter.takesAll();
        const bool isLimited = byName && all && !m_arguments.recursive && m_arguments.limit > 0;
        return isLimited ? std::min(count, static_cast<std::size_t>(m_arguments.limit)) : count;
    }

    void sort(std::vector<Row>& rows) const {
        const std::string& key = m_arguments.sort;
        if (key != "name") {
            std::stable_sort(rows.begin(), rows.end(),
                             [&](const Row& a, const Row& b) { return isBefore(key, a, b); });
        }
        if (m_arguments.reverse) {
            std::reverse(rows.begin(), rows.end());
        }
    }

    /// Prints the row if it is wanted, and with recursion the nodes below it.
    void show(const Row& row, const GroupNames& groups) {
        if (row.isWanted) {
            ++m_shown;
            m_session.json ? writeJson(row, groups) : writeRow(row, groups);
        }
        if (!m_arguments.recursive || row.node.kind == "result" || row.node.state == "missing" ||
            isPlaceless(row.node) || isFull() || !m_visited.insert(row.node.path).second) {
            return;
        }
        GroupNames below = groups;
        below.push_back(row.node.name);
        add(*namedGroup(row.node.path), "*", below);
    }

    void writeJson(const Row& row, const GroupNames& groups) {
        Json object = toJson(row.node);
        if (needsSize()) {
            object["size"] = row.size ? Json(std::to_string(*row.size)) : Json();
        }
        if (m_arguments.recursive) {
            Json names = Json::array();
            for (const std::string& name : groups) {
                names.push_back(jsonText(name));
            }
            object["groups"] = std::move(names);
        }
        m_json.add(object);
    }

    /// For people a tree; for programs the way to the node.
    [[nodiscard]] std::string nameAt(const GroupNames& groups, const std::string& name) const {
        if (m_session.out.isTerminal()) {
            return std::string(2 * groups.size(), ' ') + name;
        }
        std::string way;
        for (const std::string& group : groups) {
            way.append(group).append("/");
        }
        return way + name;
    }

    void writeRow(const Row& row, const GroupNames& groups) {
        const Description& node = row.node;
        const bool forPeople = m_session.out.isTerminal();
        const std::string when = node.time == 0 ? ""
                                 : forPeople    ? localTime(node.time)
                                                : utcTime(node.time);
        std::vector<Cell> cells{{nameAt(groups, node.name)},
                                {node.kind},
                                {node.state, stateStyle(node.state)},
                                {when},
                                {node.host},
                                {node.rank < 0 ? "" : std::to_string(node.rank)},
                                {node.command}};
        if (m_arguments.details) {
            const std::string size = !row.size   ? ""
                                     : forPeople ? shortSize(*row.size)
                                                 : std::to_string(*row.size);
            cells.insert(cells.end() - 1, {{size}, {node.link}, {node.path}});
        }
        m_table.add(std::move(cells));
    }

    const Arguments& m_arguments;
    Filter m_filter;
    Session& m_session;
    Table m_table;
    JsonArrayOutput m_json;
    std::set<std::string> m_visited;  ///< groups: links can lead back to one
    int m_shown = 0;
};

int run(const Arguments& arguments, Session& session) {
    requireMask(arguments.mask);
    const auto group = namedGroup(arguments.group);
    Listing listing(arguments, session);
    listing.add(*group, arguments.mask, {});
    listing.finish();
    if (listing.shown() == 0 && session.out.isTerminal() && !session.json) {
        session.note(escapeText(std::string(group->getPath()) + ": no such nodes here"));
    }
    return exitOk;
}

}  // namespace

Action list(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    options.optionalArgument("GROUP", arguments->group,
                             "a project, an experiment or a directory; else the working directory");
    options.option("--mask", "M", arguments->mask, "only what this name or pattern matches");
    options.choice("--kind", arguments->kind, {"result", "experiment", "project"},
                   "only this kind");
    options.choice(
        "--state", arguments->state,
        {"incomplete", "collecting", "orphaned", "finalized", "invalid", "unreadable", "missing"},
        "only this state");
    options.option("--where", "EXPR", arguments->where,
                   "only what this holds for, such as 'state=finalized and elapsed>2s'");
    options.choice("--sort", arguments->sort,
                   {"name", "kind", "state", "when", "host", "rank", "size", "command"},
                   "the column to sort by");
    options.option("--limit", "N", arguments->limit, 1, 1000000000, "at most N rows");
    options.flag("--reverse", arguments->reverse, "in reverse order");
    options.flag("-r,--recursive", arguments->recursive, "also what the groups in it hold");
    options.flag("-l,--long", arguments->details, "also size, link and path");
    return makeAction(arguments, run);
}

}  // namespace cli
