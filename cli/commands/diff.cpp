#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>

#include "base/digest.h"
#include "base/failure.h"
#include "base/text.h"
#include "commands/arguments.h"
#include "compare/comparison.h"
#include "nodes/columns.h"
#include "nodes/facts.h"
#include "nodes/node_argument.h"
#include "nodes/node_json.h"
#include "nodes/properties.h"
#include "nodes/selection.h"
#include "output/table.h"

namespace cli {
namespace {

using basekit2::variant_t;

struct Arguments {
    Selector selector;
    std::string reference;
    std::vector<std::string> tolerance;
    std::string format;
    bool wantsAll = false;
};

ComparedResult openResult(const Member& member) {
    ComparedResult compared;
    compared.result = namedPresentResult(member.marker);
    compared.description = describe(compared.result);
    compared.description.name = member.name;
    requireReadable(compared.description);
    return compared;
}

/// The reference first.
std::vector<ComparedResult> openResults(const Arguments& arguments, const Session& session) {
    std::vector<Member> members = selectMembers(arguments.selector, session);
    const std::vector<std::string>& words = arguments.selector.nodes;
    if (!arguments.reference.empty()) {
        const Member reference = memberNamed(arguments.reference);
        std::erase_if(members, [&](auto& member) { return member.marker == reference.marker; });
        members.insert(members.begin(), reference);
    } else if (members.size() == 1 && words.size() == 1) {
        members.insert(members.begin(), memberBefore(members[0], words[0]));
    }
    std::vector<ComparedResult> results;
    std::ranges::transform(members, std::back_inserter(results), openResult);
    // One node may be reached in two ways.
    for (auto each = results.begin() + 1; each != results.end(); ++each) {
        if (each->result == results.front().result) {
            throw Failure(exitUsage, each->description.path, "is compared with itself",
                          "name another result");
        }
    }
    if (results.size() == 1) {
        throw Failure(exitUsage, results.front().description.path, "is compared with itself",
                      "name another result");
    }
    return results;
}

std::string valueTextFor(const ComparedRow& row, const variant_t& value, bool forPeople) {
    const Measure measure =
        std::string_view(row.what) == "file" ? Measure::size : measureOf(row.name);
    if (value.empty()) {
        return {};
    }
    const std::string text = valueText(value);
    const auto number = readRange(Measure::number, text);
    return forPeople && number ? humanText(Value(number->first), measure) : text;
}

/// With its sign.
std::string growthText(const ComparedRow& row, double growth, bool forPeople) {
    const Measure measure = measureOf(row.name);
    const bool isMeasured = measure == Measure::duration || measure == Measure::size;
    if (!forPeople || !isMeasured || std::fabs(growth) >= 0x1p62) {
        return fmt::format("{:+.0f}", growth);
    }
    return (growth < 0 ? "-" : "+") +
           humanText(Value(static_cast<std::int64_t>(std::fabs(growth))), measure);
}

std::string changeText(const ComparedRow& row, bool forPeople) {
    const variant_t& before = row.values[0];
    const variant_t& after = row.values[1];
    if (before.empty() || after.empty()) {
        return before.empty() && after.empty() ? "same" : before.empty() ? "added" : "removed";
    }
    const bool isFile = !row.firstLines.empty();
    if (isFile) {
        return row.firstLines[1] > 0 ? fmt::format("line {}", row.firstLines[1]) : "changed";
    }
    if (before == after) {
        return "same";
    }
    const bool isGrowth = before.is_number() && after.is_number();
    return isGrowth ? growthText(row, *numberIn(after) - *numberIn(before), forPeople) : "changed";
}

/// People are told no more of what is ten times as much.
std::string percentText(const ComparedRow& row, std::size_t at, bool forPeople) {
    const bool isCounted = row.firstLines.empty() && !isTime(row.name);
    const std::optional<double> percent =
        isCounted ? percentOf(row.values[0], row.values[at]) : std::nullopt;
    if (forPeople && percent && *percent >= 1000) {
        return ">999%";
    }
    return percent ? fmt::format("{:+.1f}%", *percent) : "";
}

/// Whether each of so many values can have its percentage beside it: values are cut last.
bool hasRoomForPercents(std::size_t results, const Output& out) {
    constexpr std::size_t names = 38;
    constexpr std::size_t valueWithPercent = 18;
    const auto width = static_cast<std::size_t>(terminalWidth(STDOUT_FILENO));
    return results > 2 && (!out.isTerminal() || names + results * valueWithPercent <= width);
}

/// Beside a value how much it differs from the first.
std::string withPercent(std::string text, const ComparedRow& row, std::size_t at, bool forPeople) {
    if (!forPeople || at == 0 || row.values[at] == row.values[0]) {
        return text;
    }
    const std::string percent = percentText(row, at, forPeople);
    return percent.empty() ? text : text + " " + percent;
}

void print(Session& session, const std::vector<ComparedRow>& rows,
           const std::vector<ComparedResult>& results, Format format) {
    const bool isPair = results.size() == 2;
    std::vector<Column> columns{{"WHAT", Column::Align::left, Column::Cut::never, isPair ? 0 : 1},
                                {"NAME", Column::Align::left, Column::Cut::name}};
    for (const ComparedResult& each : results) {
        Column column{escapeText(each.description.name), Column::Align::right};
        column.key = each.description.name;
        columns.push_back(std::move(column));
    }
    if (isPair) {
        columns.push_back({"CHANGE", Column::Align::right, Column::Cut::never});
        columns.push_back({"PERCENT", Column::Align::right, Column::Cut::never, 1});
    }
    Table table(session.out, std::move(columns), format);
    const bool forPeople = table.isForPeople();
    if (!forPeople && format == Format::automatic) {
        std::vector<Cell> names{{"result"}, {"name"}};
        for (const ComparedResult& each : results) {
            names.push_back({each.description.name});
        }
        names.resize(names.size() + (isPair ? 2 : 0));
        table.add(std::move(names));
    }
    const bool hasPercents = hasRoomForPercents(results.size(), session.out);
    for (const ComparedRow& row : rows) {
        const char* const style = row.isDifferent ? "31" : "";
        std::vector<Cell> cells{{row.what, style}, {row.name}};
        for (std::size_t i = 0; i < row.values.size(); ++i) {
            std::string text = valueTextFor(row, row.values[i], forPeople);
            cells.push_back(
                {hasPercents ? withPercent(std::move(text), row, i, forPeople) : std::move(text),
                 i > 0 ? style : ""});
        }
        if (isPair) {
            cells.push_back({changeText(row, forPeople), style});
            cells.push_back({percentText(row, 1, forPeople)});
        }
        table.add(std::move(cells));
    }
    table.finish();
}

/// The digest of a file, or nothing where none is taken.
Json digestJson(const std::string& path) {
    try {
        return digestOf(path);
    } catch (const Failure&) {
        return nullptr;
    }
}

Json toJson(const ComparedRow& row, const std::vector<ComparedResult>& results) {
    const bool isFile = !row.firstLines.empty();
    Json values = Json::array();
    for (std::size_t i = 0; i < row.values.size(); ++i) {
        const std::optional<double> percent = percentOf(row.values[0], row.values[i]);
        Json value = {{"value", jsonValue(row.values[i])}};
        if (isFile) {
            value["digest"] = digestJson(results[i].description.path + "/" + row.name);
            value["firstDifferentLine"] = row.firstLines[i] > 0 ? Json(row.firstLines[i]) : Json();
        } else {
            value["percent"] = percent && !isTime(row.name) ? Json(*percent) : Json();
        }
        values.push_back(std::move(value));
    }
    return {{"what", row.what},
            {"name", jsonText(row.name)},
            {"values", std::move(values)},
            {"judged", row.isJudged},
            {"different", row.isDifferent}};
}

int run(const Arguments& arguments, Session& session) {
    session.json = session.json || arguments.format == "json";
    const Tolerance tolerance(arguments.tolerance);
    const std::vector<ComparedResult> results = openResults(arguments, session);
    const std::vector<ComparedRow> rows = compareResults(results, tolerance, arguments.wantsAll);
    const bool isSame = std::ranges::none_of(rows, &ComparedRow::isDifferent);
    if (session.json) {
        Json nodes = Json::array();
        for (const ComparedResult& each : results) {
            nodes.push_back(nodeJson(*each.result, each.description));
        }
        Json list = Json::array();
        for (const ComparedRow& row : rows) {
            list.push_back(toJson(row, results));
        }
        session.out.writeJson(
            {{"same", isSame}, {"nodes", std::move(nodes)}, {"rows", std::move(list)}});
    } else {
        session.page();
        print(session, rows, results, formatOf(arguments.format));
    }
    return isSame ? exitOk : exitNegative;
}

}  // namespace

Action diff(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    selectorArguments(options, arguments->selector,
                      "the results, the old one first; a pattern alone: its newest with the one "
                      "before it");
    options.option("--reference", {"NODE", Stands::node}, arguments->reference,
                   "what the others are compared with; else the first");
    options.option("--tolerance", "[KEY=]N%", arguments->tolerance,
                   "judge measurements, or KEY, too: a difference of more than N percent counts");
    options.flag("--all", arguments->wantsAll, "also what is the same");
    options.choice("--format", arguments->format, {"table", "tsv", "csv", "json"},
                   "how to print; else a table on a terminal, and lines with tabs elsewhere");
    return makeAction(arguments, run);
}

}  // namespace cli
