#include "nodes/facts.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <filesystem>

#include "nodes/contents.h"
#include "nodes/properties.h"
#include "nodes/tags.h"
#include "select/keys.h"

namespace cli {
namespace {

using Texts = std::vector<std::string>;

Value textOrNothing(const std::string& text) { return text.empty() ? Value() : Value(Texts{text}); }

Value propertyOf(vesta2::INode& node, const std::string& key) {
    using kind_t = basekit2::variant_t::kind_t;
    const basekit2::variant_t value = getProperty(node, key);
    if (value.kind() == kind_t::empty || value.kind() == kind_t::bag) {
        return {};
    }
    // What is too great for a number here is compared by its digits.
    const bool isGreat = value.kind() == kind_t::uint64 && value.to_int64() < 0;
    return value.as_string() || isGreat ? Value(Texts{valueText(value)}) : Value(value.to_int64());
}

Value tagsIn(vesta2::INode& node) {
    Texts tags = tagsOf(node);
    return tags.empty() ? Value() : Value(std::move(tags));
}

Value sumOf(vesta2::INode& node, const char* first, const char* second) {
    const Value a = propertyOf(node, first);
    const Value b = propertyOf(node, second);
    const auto* const number = std::get_if<std::int64_t>(&a);
    const auto* const other = std::get_if<std::int64_t>(&b);
    return number && other ? Value(*number + *other) : Value();
}

/// As a shell tells it.
Value exitOf(vesta2::INode& node) {
    const Value signal = propertyOf(node, key::exitSignal);
    const auto* const number = std::get_if<std::int64_t>(&signal);
    return number ? Value(128 + *number) : propertyOf(node, key::exitCode);
}

Value sizeOf(const std::string& path) {
    try {
        return static_cast<std::int64_t>(contentsOf(path).bytes);
    } catch (const std::filesystem::filesystem_error&) {
        return Unknown();
    }
}

Value ageOf(std::int64_t time) {
    constexpr std::int64_t microseconds = 1'000'000;
    return time == 0 ? Value() : Value((std::time(nullptr) - time) * microseconds);
}

struct Fact {
    std::string_view key;
    Value (*read)(vesta2::INode& node, const Description& description);
};

/// Those that a node has whatever is in its marker file.
constexpr std::array outerFacts{
    Fact{"kind", [](auto&, auto& it) { return Value(Texts{it.kind}); }},
    Fact{"state", [](auto&, auto& it) { return textOrNothing(it.state); }},
    Fact{"name", [](auto&, auto& it) { return Value(Texts{it.name}); }},
    Fact{"path", [](auto&, auto& it) { return Value(Texts{it.path}); }},
    Fact{"size", [](auto&, auto& it) { return sizeOf(it.path); }},
    Fact{"link",
         [](auto&, auto& it) {
             return it.link == "unknown" ? Value(Unknown()) : textOrNothing(it.link);
         }},
};

constexpr std::array recordedFacts{
    Fact{"host", [](auto&, auto& it) { return textOrNothing(it.host); }},
    Fact{"command", [](auto&, auto& it) { return textOrNothing(it.command); }},
    Fact{"rank",
         [](auto&, auto& it) { return it.rank < 0 ? Value() : Value(std::int64_t{it.rank}); }},
    Fact{"when", [](auto&, auto& it) { return it.time == 0 ? Value() : Value(it.time); }},
    Fact{"age", [](auto&, auto& it) { return ageOf(it.time); }},
    Fact{"elapsed", [](auto& node, auto&) { return propertyOf(node, key::elapsed); }},
    Fact{"cpu", [](auto& node, auto&) { return sumOf(node, key::userTime, key::systemTime); }},
    Fact{"memory", [](auto& node, auto&) { return propertyOf(node, key::peakMemory); }},
    Fact{"exit", [](auto& node, auto&) { return exitOf(node); }},
    Fact{"tag", [](auto& node, auto&) { return tagsIn(node); }},
    Fact{"note",
         [](auto& node, auto&) {
             return textOrNothing(exactText(propertyOf(node, key::note), Measure::any));
         }},
    Fact{"pinned", [](auto& node, auto&) { return propertyOf(node, key::pinned); }},
};

}  // namespace

Value valueOf(vesta2::INode& node, const Description& description, const std::string& key) {
    const auto* fact = std::ranges::find(outerFacts, key, &Fact::key);
    if (fact != outerFacts.end()) {
        return fact->read(node, description);
    }
    if (description.damage || description.state == "missing") {
        return Unknown();
    }
    fact = std::ranges::find(recordedFacts, key, &Fact::key);
    return fact != recordedFacts.end() ? fact->read(node, description) : propertyOf(node, key);
}

Measure measureOf(const std::string& key) {
    if (const FactKey* const fact = findFact(key)) {
        return fact->measure;
    }
    return isTime(key)                     ? Measure::time
           : key.ends_with("Microseconds") ? Measure::duration
           : key.ends_with("Bytes")        ? Measure::size
                                           : Measure::any;
}

}  // namespace cli
