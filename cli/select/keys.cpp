#include "select/keys.h"

#include <algorithm>
#include <array>

namespace cli {
namespace {

constexpr std::array facts{
    FactKey{"kind", Measure::text, " result experiment project "},
    FactKey{"state", Measure::text,
            " incomplete collecting orphaned finalized invalid unreadable missing "},
    FactKey{"name", Measure::text},
    FactKey{"host", Measure::text},
    FactKey{"command", Measure::text},
    FactKey{"link", Measure::text},
    FactKey{"path", Measure::text},
    FactKey{"tag", Measure::text},
    FactKey{"note", Measure::text},
    FactKey{"pinned", Measure::text, " yes "},
    FactKey{"rank", Measure::number},
    FactKey{"exit", Measure::number},
    FactKey{"when", Measure::time},
    FactKey{"age", Measure::duration},
    FactKey{"elapsed", Measure::duration},
    FactKey{"cpu", Measure::duration},
    FactKey{"memory", Measure::size},
    FactKey{"size", Measure::size},
};

}  // namespace

const FactKey* findFact(std::string_view name) {
    const auto* found = std::ranges::find(facts, name, &FactKey::name);
    return found != facts.end() ? found : nullptr;
}

std::vector<std::string> factNames() {
    std::vector<std::string> names;
    names.reserve(facts.size());
    for (const FactKey& fact : facts) {
        names.emplace_back(fact.name);
    }
    return names;
}

}  // namespace cli
