#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "base/failure.h"
#include "base/text.h"
#include "basekit2/path.h"
#include "collector/sampler.h"
#include "commands/arguments.h"
#include "nodes/description.h"
#include "nodes/file_comparison.h"
#include "nodes/members.h"
#include "nodes/node_argument.h"
#include "nodes/properties.h"
#include "nodes/selection.h"
#include "output/table.h"
#include "vesta2/names.h"
#include "vesta2/node.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

using basekit2::variant_t;
using ResultHandle = basekit2::sptr_t<vesta2::IResultDirectory>;

struct Arguments {
    std::string a;
    std::string b;
};

struct Pair {
    ResultHandle before;
    ResultHandle after;
    Description old;
    Description now;
};

struct Row {
    const char* what;
    std::string name;
    variant_t before;
    variant_t after;
    /// Whether the row makes the results different. Times and measurements differ in any two runs:
    /// they are shown, but not judged.
    bool isJudged = true;
};

std::optional<double> number(const variant_t& value) {
    if (!value.is_number()) {
        return std::nullopt;
    }
    return value.kind() == variant_t::kind_t::uint64
               ? static_cast<double>(static_cast<std::uint64_t>(value.to_int64()))
               : static_cast<double>(value.to_int64());
}

bool isGrowth(const Row& row) { return number(row.before) && number(row.after); }

std::string changeText(const Row& row) {
    if (!isGrowth(row)) {
        return row.before.empty() ? "added" : row.after.empty() ? "removed" : "changed";
    }
    return row.before == row.after
               ? "same"
               : fmt::format("{:+.0f}", *number(row.after) - *number(row.before));
}

std::optional<double> percent(const Row& row) {
    if (!isGrowth(row) || isTime(row.name) || *number(row.before) == 0) {
        return std::nullopt;
    }
    return (*number(row.after) - *number(row.before)) / *number(row.before) * 100;
}

/// The result before `newest` in the series that `pattern` stands for.
ResultHandle resultBefore(const ResultHandle& newest, const std::string& pattern) {
    const fs::path path(pattern);
    const std::vector<Member> members =
        matching(membersOf(path.parent_path().native()), path.filename().native());
    bool isPast = false;
    for (auto member = members.rbegin(); member != members.rend(); ++member) {
        auto result = vesta2::IResultDirectory::cast(openMember(member->marker));
        if (result && isPast) {
            return result;
        }
        isPast = isPast || result == newest;
    }
    throw Failure(exitNotFound, newest->getPath(), "there is no second result",
                  "name another result, or a pattern that matches two, such as 'r@@@'");
}

/// The old one first. A pattern alone means its newest result and the one before it.
Pair openPair(const std::string& a, const std::string& b) {
    Pair pair;
    pair.before = namedPresentResult(a);
    pair.after = namedPresentResult(b);
    if (pair.before == pair.after) {
        pair.before = resultBefore(pair.after, a);
        requirePresent(*pair.before);
    }
    pair.old = describe(pair.before);
    pair.now = describe(pair.after);
    requireReadable(pair.old);
    requireReadable(pair.now);
    return pair;
}

Row propertyRow(const std::string& name, const variant_t& before, const variant_t& after) {
    switch (roleOf(name)) {
    case Role::measurement:
        return {"measurement", name, before, after, false};
    case Role::time:
        return {"time", name, before, after, false};
    default:
        // When a result was made is a time like the others.
        return {isTime(name) ? "time" : "property", name, before, after, !isTime(name)};
    }
}

void addProperties(std::vector<Row>& rows, const Pair& pair) {
    const std::vector<Property> before = properties(*pair.before);
    std::vector<Property> after = properties(*pair.after);
    const auto add = [&](const std::string& name, const variant_t& old, const variant_t& now) {
        if (roleOf(name) != Role::link && (old != now || roleOf(name) == Role::measurement)) {
            rows.push_back(propertyRow(name, old, now));
        }
    };
    for (const auto& [name, value] : before) {
        const auto match =
            std::find_if(after.begin(), after.end(),
                         [&, &key = name](const Property& entry) { return entry.key == key; });
        add(name, value, match == after.end() ? variant_t() : match->value);
        if (match != after.end()) {
            after.erase(match);
        }
    }
    for (const auto& [name, value] : after) {
        add(name, {}, value);
    }
}

void addState(std::vector<Row>& rows, const Pair& pair) {
    if (pair.old.state != pair.now.state) {
        rows.push_back({"property", "state", pair.old.state, pair.now.state});
    }
}

/// What `collect` writes itself holds times and measurements.
bool isRecord(const Pair& pair, const std::string& name) {
    const auto baseName = [](const std::string& path) {
        return std::string(basekit2::path_t(path).last_component());
    };
    const bool isLog = name == baseName(pair.before->getCollectorLog()) ||
                       name == baseName(pair.after->getCollectorLog());
    return isLog || (name.rfind(vesta2::getCollectorDataDirectoryPrefix(), 0) == 0 &&
                     baseName(name) == samplesFileName);
}

void addFiles(std::vector<Row>& rows, const Pair& pair) {
    for (const FileDifference& file : compareFiles(pair.before->getPath(), pair.after->getPath())) {
        const auto value = [](const std::string& text) {
            return text.empty() ? variant_t() : variant_t(text);
        };
        const bool recorded = isRecord(pair, file.path);
        rows.push_back({recorded ? "record" : "file", file.path, value(file.before),
                        value(file.after), !recorded});
    }
}

Json toJson(const Row& row) {
    const std::optional<double> growth = percent(row);
    return {{"what", row.what},
            {"name", jsonText(row.name)},
            {"old", jsonValue(row.before)},
            {"new", jsonValue(row.after)},
            {"change", changeText(row)},
            {"percent", growth ? Json(*growth) : Json()},
            {"judged", row.isJudged}};
}

void print(Session& session, const std::vector<Row>& rows, const Pair& pair) {
    Table table(session.out, {{"WHAT", Column::Align::left, Column::Cut::never},
                              {"NAME"},
                              {"OLD", Column::Align::right},
                              {"NEW", Column::Align::right},
                              {"CHANGE", Column::Align::right, Column::Cut::never},
                              {"PERCENT", Column::Align::right, Column::Cut::never}});
    table.add({{"result"}, {"name"}, {pair.old.name}, {pair.now.name}, {}, {}});
    for (const Row& row : rows) {
        const std::optional<double> growth = percent(row);
        const auto text = [](const variant_t& value) {
            return value.empty() ? std::string() : valueText(value);
        };
        const char* style = row.isJudged ? "31" : "";
        table.add({{row.what, style},
                   {row.name},
                   {text(row.before)},
                   {text(row.after)},
                   {changeText(row)},
                   {growth ? fmt::format("{:+.1f}%", *growth) : ""}});
    }
    table.finish();
}

int run(const Arguments& arguments, Session& session) {
    const std::string a = requirePath(arguments.a);
    const std::string b = arguments.b.empty() ? a : requirePath(arguments.b);
    const Pair pair = openPair(a, b);
    std::vector<Row> rows;
    addState(rows, pair);
    addProperties(rows, pair);
    addFiles(rows, pair);
    const bool isSame =
        std::none_of(rows.begin(), rows.end(), [](const Row& row) { return row.isJudged; });
    if (session.json) {
        Json list = Json::array();
        std::transform(rows.begin(), rows.end(), std::back_inserter(list), toJson);
        session.out.writeJson({{"same", isSame},
                               {"old", jsonText(pair.before->getPath())},
                               {"new", jsonText(pair.after->getPath())},
                               {"rows", std::move(list)}});
    } else {
        print(session, rows, pair);
    }
    return isSame ? exitOk : exitNegative;
}

}  // namespace

Action diff(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    options.argument("A", arguments->a,
                     "the old result; alone: a pattern, of which the newest "
                     "result is compared with the one before it");
    options.optionalArgument("B", arguments->b, "the new result");
    return makeAction(arguments, run);
}

}  // namespace cli
