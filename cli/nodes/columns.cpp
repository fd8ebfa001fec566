#include "nodes/columns.h"

#include <algorithm>
#include <cctype>
#include <sstream>

#include "base/failure.h"
#include "base/text.h"
#include "nodes/description.h"
#include "nodes/facts.h"
#include "select/keys.h"

namespace cli {

std::vector<std::string> splitKeys(const std::vector<std::string>& texts, const char* option) {
    std::vector<std::string> keys;
    for (const std::string& text : texts) {
        std::istringstream stream(text + ",");
        for (std::string key; std::getline(stream, key, ',');) {
            if (key.empty()) {
                throw Failure(exitUsage, {},
                              option + (" " + shellQuote(text)) + " has an empty key",
                              "write it as in " + std::string(option) + " name,elapsed");
            }
            keys.push_back(std::move(key));
        }
    }
    return keys;
}

Column columnFor(const std::string& key) {
    const FactKey* const fact = findFact(key);
    Column column{key == "tag" ? "tags" : escapeText(key)};
    if (fact) {
        std::ranges::transform(column.title, column.title.begin(),
                               [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    }
    column.key = key;
    const Measure measure = measureOf(key);
    if (key == "name") {
        column.cut = Column::Cut::name;
    } else if (measure != Measure::text && measure != Measure::any) {
        column.cut = Column::Cut::never;
        column.align = measure == Measure::time ? Column::Align::left : Column::Align::right;
    } else if (fact && !fact->choices.empty()) {
        column.cut = Column::Cut::never;
    }
    return column;
}

Cell cellFor(const std::string& key, const Value& value, bool forPeople) {
    const Measure measure = measureOf(key);
    Cell cell{forPeople ? humanText(value, measure) : exactText(value, measure)};
    const auto* const number = std::get_if<std::int64_t>(&value);
    if (key == "state") {
        cell.style = stateStyle(cell.text);
    } else if (key == "exit" && number && *number != 0) {
        cell.style = "31";
    }
    return cell;
}

}  // namespace cli
