#include <charconv>
#include <memory>
#include <optional>

#include "base/failure.h"
#include "base/text.h"
#include "commands/arguments.h"
#include "nodes/change.h"
#include "nodes/properties.h"
#include "select/keys.h"

namespace cli {
namespace {

using basekit2::variant_t;
using kind_t = basekit2::variant_t::kind_t;

struct Arguments {
    std::vector<std::string> words;
    std::vector<std::string> where;
    std::vector<std::string> unset;
};

template <class Number>
std::optional<variant_t> parseNumber(const std::string& text) {
    Number number{};
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return variant_t(number);
}

/// `text` as a value of `kind`; nothing when it cannot be one.
std::optional<variant_t> parseValue(const std::string& text, kind_t kind) {
    switch (kind) {
    case kind_t::int32:
        return parseNumber<std::int32_t>(text);
    case kind_t::uint32:
        return parseNumber<std::uint32_t>(text);
    case kind_t::int64:
        return parseNumber<std::int64_t>(text);
    case kind_t::uint64:
        return parseNumber<std::uint64_t>(text);
    case kind_t::bag:
        return std::nullopt;
    case kind_t::str:
    case kind_t::empty:
        break;
    }
    return variant_t(text);
}

std::string kindName(kind_t kind) {
    switch (kind) {
    case kind_t::int32:
        return "a whole number of 32 bits";
    case kind_t::uint32:
        return "a whole number of 32 bits, not negative";
    case kind_t::int64:
        return "a whole number of 64 bits";
    case kind_t::uint64:
        return "a whole number of 64 bits, not negative";
    default:
        return "a group of properties";
    }
}

/// Raises `Failure` for what people may not change.
void requireOwn(vesta2::INode& node, const std::string& key) {
    if (roleOf(key) == Role::creation || roleOf(key) == Role::link) {
        throw Failure(exitUsage, node.getPath(), shellQuote(key) + " is kept by the library",
                      "choose another key");
    }
    if (findFact(key)) {
        throw Failure(exitUsage, node.getPath(),
                      shellQuote(key) + " is told from other properties, and cannot be set",
                      key == "tag"      ? "use 'vesta2 tag'"
                      : key == "note"   ? "use 'vesta2 note'"
                      : key == "pinned" ? "use 'vesta2 pin'"
                      : key == "name"   ? "use 'vesta2 rename'"
                                        : "choose another key");
    }
}

Property parseAssignment(vesta2::INode& node, const std::string& assignment) {
    const auto parts = splitAssignment(assignment);
    if (!parts) {
        throw Failure(exitUsage, {}, shellQuote(assignment) + " is no assignment",
                      "write it as KEY=VALUE");
    }
    const auto& [key, text] = *parts;
    requireOwn(node, key);
    const variant_t old = getProperty(node, key);
    const kind_t kind = old.empty() ? usualKind(key) : old.kind();
    const std::optional<variant_t> value = parseValue(text, kind);
    if (!value) {
        throw Failure(exitUsage, node.getPath(),
                      shellQuote(assignment) + ": " + shellQuote(key) + " is " + kindName(kind),
                      "nothing was changed");
    }
    return {key, *value};
}

/// Which words are NODEs, and which assignments.
struct Words {
    Selector selector;
    std::vector<std::string> assignments;
};

/// The first word is a NODE, unless expressions select the nodes; of the others those with a "="
/// are assignments.
Words sortWords(const Arguments& arguments) {
    Words words;
    words.selector.where = arguments.where;
    for (const std::string& word : arguments.words) {
        const bool isNode =
            words.selector.nodes.empty() && words.assignments.empty() && arguments.where.empty();
        if (isNode || word.find('=') == std::string::npos) {
            words.selector.nodes.push_back(word);
        } else {
            words.assignments.push_back(word);
        }
    }
    if (words.assignments.empty() && arguments.unset.empty()) {
        throw Failure(exitUsage, {}, "what to change is missing",
                      "write it as KEY=VALUE, or --unset KEY");
    }
    return words;
}

int run(const Arguments& arguments, Session& session) {
    const Words words = sortWords(arguments);
    const auto change = [&](vesta2::INode& node) {
        std::vector<Property> changes;
        for (const std::string& assignment : words.assignments) {
            changes.push_back(parseAssignment(node, assignment));
        }
        for (const std::string& key : arguments.unset) {
            requireOwn(node, key);
            changes.push_back({key, {}});
        }
        for (const auto& [key, value] : changes) {
            if (!putProperty(node, key, value)) {
                throw Failure(exitUsage, node.getPath(), shellQuote(key) + " cannot be a key",
                              "nothing was changed");
            }
        }
    };
    return changeNodes(selectMembers(words.selector, session), change, session);
}

}  // namespace

Action set(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    options.arguments({"NODE", Stands::nodeOrAssignment}, arguments->words,
                      "which nodes, and behind them KEY=VALUE for each property to change", false);
    whereOption(options, arguments->where);
    options.option("--unset", {"KEY", Stands::property}, arguments->unset, "remove a property");
    return makeAction(arguments, run);
}

}  // namespace cli
