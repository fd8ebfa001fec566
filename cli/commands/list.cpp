#include <algorithm>
#include <memory>

#include "nodes/description.h"
#include "nodes/node_argument.h"
#include "options.h"
#include "output/table.h"
#include "output/text.h"

namespace cli {
namespace {

struct Arguments {
    std::string group = ".";
    std::string mask = "*";
    std::string kind;
    std::string state;
    std::string sort = "name";
    int limit = 0;
    bool reverse = false;
    bool details = false;
};

struct Row {
    Description node;
    std::uint64_t size = 0;
};

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

/// Takes one row after the other; what it gives out is not kept.
class Listing {
public:
    Listing(const Arguments& arguments, Session& session)
        : m_arguments(arguments),
          m_session(session),
          m_table(session.out, arguments.details ? longColumns() : shortColumns()) {}

    /// False when no further node is wanted.
    bool add(const basekit2::sptr_t<vesta2::INode>& node) {
        Row row{describe(node)};
        if (!isWanted(row.node)) {
            return true;
        }
        if (needsSize()) {
            row.size = node->getSize();
        }
        if (!isStreaming()) {
            m_rows.push_back(std::move(row));
            return true;
        }
        show(row);
        return !isFull();
    }

    void finish() {
        const std::string& key = m_arguments.sort;
        if (key != "name") {
            std::stable_sort(m_rows.begin(), m_rows.end(),
                             [&](const Row& a, const Row& b) { return isBefore(key, a, b); });
        }
        if (m_arguments.reverse) {
            std::reverse(m_rows.begin(), m_rows.end());
        }
        for (auto row = m_rows.begin(); row != m_rows.end() && !isFull(); ++row) {
            show(*row);
        }
        if (m_session.json) {
            m_session.out.writeJson({{"nodes", std::move(m_json)}});
        }
        m_table.finish();
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
        columns.insert(columns.end() - 1, {{"SIZE", Column::Align::right, true}, {"PATH"}});
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
    [[nodiscard]] bool isWanted(const Description& node) const {
        return (m_arguments.kind.empty() || node.kind == m_arguments.kind) &&
               (m_arguments.state.empty() || node.state == m_arguments.state);
    }

    void show(const Row& row) {
        ++m_shown;
        if (m_session.json) {
            m_json.push_back(toJson(row.node));
            if (needsSize()) {
                m_json.back()["size"] = std::to_string(row.size);
            }
            return;
        }
        const Description& node = row.node;
        const bool forPeople = m_session.out.isTerminal();
        const std::string when = node.time == 0 ? ""
                                 : forPeople    ? localTime(node.time)
                                                : utcTime(node.time);
        std::vector<Cell> cells{
            {node.name},   {node.kind}, {node.state, stateStyle(node.state)},
            {when},        {node.host}, {node.rank < 0 ? "" : std::to_string(node.rank)},
            {node.command}};
        if (m_arguments.details) {
            const Cell size{forPeople ? shortSize(row.size) : std::to_string(row.size)};
            cells.insert(cells.end() - 1, {size, {node.path}});
        }
        m_table.add(std::move(cells));
    }

    const Arguments& m_arguments;
    Session& m_session;
    Table m_table;
    std::vector<Row> m_rows;
    Json m_json = Json::array();
    int m_shown = 0;
};

/// The greatest names are all that is asked for: the others need not even be opened.
int greatestWanted(const Arguments& arguments) {
    const bool byName = arguments.sort == "name" && arguments.reverse;
    return byName && arguments.kind.empty() && arguments.state.empty() ? arguments.limit : 0;
}

int run(const Arguments& arguments, Session& session) {
    const auto group = openGroup(arguments.group);
    auto nodes = group->getNodes(arguments.mask.c_str(), greatestWanted(arguments));
    const vesta2::error_t status = vesta2::getStatus();
    if (status != vesta2::eOK && status != vesta2::eNotFound) {
        throw searchFailure(status, arguments.mask);
    }
    Listing listing(arguments, session);
    for (bool more = true; more && !nodes.at_end(); nodes.next()) {
        // Only one node is open at a time, and one that has just been removed is no error.
        if (const auto node = nodes.current()) {
            more = listing.add(node);
        }
    }
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
    options.choice("--state", arguments->state,
                   {"incomplete", "finalized", "invalid", "unreadable", "missing"},
                   "only this state");
    options.choice("--sort", arguments->sort,
                   {"name", "kind", "state", "when", "host", "rank", "size", "command"},
                   "the column to sort by");
    options.option("--limit", "N", arguments->limit, 1, 1000000000, "at most N rows");
    options.flag("-r,--reverse", arguments->reverse, "in reverse order");
    options.flag("-l,--long", arguments->details, "also size and path");
    return [arguments](Session& session) { return run(*arguments, session); };
}

}  // namespace cli
