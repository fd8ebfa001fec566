#pragma once
/// How many nodes have each value of a key, and how their measurements are spread.

#include <map>
#include <string>
#include <vector>

#include "output/session.h"
#include "output/table.h"
#include "select/value.h"

namespace cli {

class Grouping {
public:
    /// `measured` are the keys whose least, median and greatest values are told.
    Grouping(std::string key, std::vector<std::string> measured);

    /// Adds a node: to each of its groups, when it has several values, as with tags.
    void add(const Value& value, const std::vector<Value>& measurements);
    void print(Session& session, Format format) const;

private:
    struct Group {
        std::size_t count = 0;
        std::vector<std::vector<std::int64_t>> numbers;  ///< of each measured key
    };
    struct IsBefore {
        bool operator()(const Value& a, const Value& b) const { return compareValues(a, b) < 0; }
    };

    void printJson(Session& session) const;

    std::string m_key;
    std::vector<std::string> m_measured;
    std::map<Value, Group, IsBefore> m_groups;
};

}  // namespace cli
