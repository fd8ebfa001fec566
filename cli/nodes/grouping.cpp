#include "nodes/grouping.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

#include "base/text.h"
#include "nodes/columns.h"
#include "nodes/facts.h"
#include "nodes/node_json.h"

namespace cli {
namespace {

/// What people set is text.
std::optional<std::int64_t> numberIn(const Value& value) {
    const auto range = readRange(Measure::number, exactText(value, Measure::any));
    return range ? std::optional(range->first) : std::nullopt;
}

struct Spread {
    Value least;
    Value median;
    Value greatest;
};

Spread spreadOf(std::vector<std::int64_t> numbers) {
    if (numbers.empty()) {
        return {};
    }
    std::ranges::sort(numbers);
    const std::int64_t lower = numbers[(numbers.size() - 1) / 2];
    const std::int64_t upper = numbers[numbers.size() / 2];
    return {numbers.front(), lower + (upper - lower) / 2, numbers.back()};
}

}  // namespace

Grouping::Grouping(std::string key, std::vector<std::string> measured)
    : m_key(std::move(key)), m_measured(std::move(measured)) {}

void Grouping::add(const Value& value, const std::vector<Value>& measurements) {
    std::vector<Value> groups{value};
    if (const auto* texts = std::get_if<std::vector<std::string>>(&value)) {
        groups.clear();
        for (const std::string& text : *texts) {
            groups.emplace_back(std::vector{text});
        }
    }
    for (const Value& each : groups) {
        Group& group = m_groups[each];
        ++group.count;
        group.numbers.resize(m_measured.size());
        for (std::size_t i = 0; i < measurements.size(); ++i) {
            if (const std::optional<std::int64_t> number = numberIn(measurements[i])) {
                group.numbers[i].push_back(*number);
            }
        }
    }
}

void Grouping::print(Session& session, Format format) const {
    if (session.json) {
        printJson(session);
        return;
    }
    std::vector<Column> columns{columnFor(m_key),
                                {"COUNT", Column::Align::right, Column::Cut::never},
                                {"OF", Column::Align::left, Column::Cut::name}};
    for (const char* title : {"MIN", "MEDIAN", "MAX"}) {
        columns.push_back({title, Column::Align::right, Column::Cut::never});
    }
    Table table(session.out, std::move(columns), format);
    for (const auto& [value, group] : m_groups) {
        for (std::size_t i = 0; i < m_measured.size(); ++i) {
            const std::string& key = m_measured[i];
            const Spread spread = spreadOf(group.numbers[i]);
            const auto cell = [&](const Value& number) {
                return cellFor(key, number, table.isForPeople());
            };
            table.add({cellFor(m_key, value, table.isForPeople()),
                       {std::to_string(group.count)},
                       {key},
                       cell(spread.least),
                       cell(spread.median),
                       cell(spread.greatest)});
        }
    }
    table.finish();
}

void Grouping::printJson(Session& session) const {
    Json groups = Json::array();
    for (const auto& [value, group] : m_groups) {
        Json measures = Json::object();
        for (std::size_t i = 0; i < m_measured.size(); ++i) {
            const std::string& key = m_measured[i];
            const Spread spread = spreadOf(group.numbers[i]);
            measures[jsonName(key)] = {{"count", group.numbers[i].size()},
                                       {"min", jsonOf(spread.least, key)},
                                       {"median", jsonOf(spread.median, key)},
                                       {"max", jsonOf(spread.greatest, key)}};
        }
        const Json common = isPresent(value) ? jsonOf(value, m_key) : Json();
        groups.push_back({{"value", common.is_array() ? common[0] : common},  // one of the tags
                          {"count", group.count},
                          {"measures", std::move(measures)}});
    }
    session.out.writeJson({{"groupBy", jsonText(m_key)}, {"groups", std::move(groups)}});
}

}  // namespace cli
