#include "compare/comparison.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>

#include "base/failure.h"
#include "base/text.h"
#include "basekit2/path.h"
#include "collector/sampler.h"
#include "compare/file_comparison.h"
#include "nodes/properties.h"
#include "vesta2/names.h"

namespace cli {
namespace {

using basekit2::variant_t;

struct Kind {
    const char* what;
    bool isJudged;
};

Kind kindOfProperty(const std::string& name) {
    switch (roleOf(name)) {
    case Role::measurement:
        return {"measurement", false};
    case Role::remark:
        return {"remark", false};
    case Role::time:
        return {"time", false};
    default:
        // When a result was made is a time like the others.
        return isTime(name) ? Kind{"time", false} : Kind{"property", true};
    }
}

bool areSame(const std::vector<variant_t>& values) {
    return std::ranges::all_of(values, [&](const auto& value) { return value == values[0]; });
}

class Comparison {
public:
    Comparison(const std::vector<ComparedResult>& results, const Tolerance& tolerance,
               bool wantsAll)
        : m_results(results), m_tolerance(tolerance), m_wantsAll(wantsAll) {}

    std::vector<ComparedRow> run() {
        addState();
        addProperties();
        addFiles();
        std::ranges::stable_sort(m_rows, {}, rankOf);
        return std::move(m_rows);
    }

private:
    /// What is judged comes first, and what differs in any two runs comes last.
    static std::ptrdiff_t rankOf(const ComparedRow& row) {
        constexpr std::array<std::string_view, 6> order{"property", "file",   "measurement",
                                                        "remark",   "record", "time"};
        return std::ranges::find(order, row.what) - order.begin();
    }

    void add(ComparedRow row) {
        const bool isMeasurement = std::string_view(row.what) == "measurement";
        const std::optional<double> percent = m_tolerance.of(row.name, isMeasurement);
        row.isJudged = row.isJudged || percent;
        row.isDifferent =
            row.isJudged && !std::ranges::all_of(row.values, [&](const variant_t& value) {
                return percent ? isWithin(*percent, row.values[0], value) : value == row.values[0];
            });
        if (m_wantsAll || !areSame(row.values)) {
            m_rows.push_back(std::move(row));
        }
    }

    void addState() {
        ComparedRow row{"property", "state", {}};
        for (const ComparedResult& each : m_results) {
            row.values.emplace_back(each.description.state);
        }
        add(std::move(row));
    }

    void addProperties() {
        // In the order in which the results have them.
        std::vector<std::string> names;
        std::map<std::string, std::vector<variant_t>> values;
        for (std::size_t i = 0; i < m_results.size(); ++i) {
            for (const Property& property : properties(*m_results[i].result)) {
                auto [entry, isNew] = values.try_emplace(property.key);
                if (isNew) {
                    entry->second.resize(m_results.size());
                    names.push_back(property.key);
                }
                entry->second[i] = property.value;
            }
        }
        for (const std::string& key : m_tolerance.keys()) {
            if (!values.contains(key)) {
                throw Failure(exitUsage, {}, "--tolerance: no result has " + shellQuote(key),
                              "name a measurement or a property that 'vesta2 show' tells");
            }
        }
        for (const std::string& name : names) {
            const Kind kind = kindOfProperty(name);
            if (roleOf(name) != Role::link) {
                add({kind.what, name, std::move(values[name]), kind.isJudged});
            }
        }
    }

    static std::string baseName(const std::string& path) {
        return std::string(basekit2::path_t(path).last_component());
    }

    /// What `collect` writes itself holds times and measurements.
    [[nodiscard]] bool isRecord(const std::string& name) const {
        return m_logs.contains(name) ||
               (name.starts_with(vesta2::getCollectorDataDirectoryPrefix()) &&
                baseName(name) == samplesFileName);
    }

    void addFiles() {
        const std::size_t count = m_results.size();
        for (const ComparedResult& each : m_results) {
            m_logs.insert(baseName(each.result->getCollectorLog()));
        }
        std::map<std::string, ComparedRow> rows;
        for (std::size_t i = 1; i < count; ++i) {
            for (const FileDifference& file :
                 compareFiles(m_results[0].result->getPath(), m_results[i].result->getPath())) {
                const auto [entry, isNew] = rows.try_emplace(file.path);
                ComparedRow& row = entry->second;
                if (isNew) {  // only then: what is made for each of many results is too much
                    const bool isOwn = isRecord(file.path);
                    row = {isOwn ? "record" : "file",
                           file.path,
                           std::vector(count, file.before),
                           !isOwn,
                           !isOwn,
                           std::vector<std::int64_t>(count)};
                }
                row.values[i] = file.after;
                row.firstLines[i] = file.firstLine;
            }
        }
        for (auto& [path, row] : rows) {
            m_rows.push_back(std::move(row));
        }
    }

    const std::vector<ComparedResult>& m_results;
    const Tolerance& m_tolerance;
    const bool m_wantsAll;
    std::set<std::string> m_logs;  ///< what the results call the collector's
    std::vector<ComparedRow> m_rows;
};

}  // namespace

std::vector<ComparedRow> compareResults(const std::vector<ComparedResult>& results,
                                        const Tolerance& tolerance, bool wantsAll) {
    return Comparison(results, tolerance, wantsAll).run();
}

}  // namespace cli
