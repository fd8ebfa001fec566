#include <linux/magic.h>
#include <nlohmann/json.hpp>
#include <sys/statfs.h>

#include <charconv>
#include <chrono>
#include <limits>
#include <memory>
#include <optional>
#include <thread>

#include "base/failure.h"
#include "base/text.h"
#include "commands/arguments.h"
#include "nodes/description.h"
#include "nodes/flags.h"
#include "nodes/node_argument.h"
#include "nodes/properties.h"
#include "vesta2/names.h"
#include "vesta2/node.h"

namespace cli {
namespace {

using basekit2::variant_t;
using kind_t = basekit2::variant_t::kind_t;

struct Arguments {
    std::string node;
    std::vector<std::string> assignments;
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

Property parseAssignment(vesta2::INode& node, const std::string& assignment) {
    const auto parts = splitAssignment(assignment);
    if (!parts) {
        throw Failure(exitUsage, {}, shellQuote(assignment) + " is no assignment",
                      "write it as KEY=VALUE");
    }
    const auto& [key, text] = *parts;
    if (roleOf(key) == Role::creation || roleOf(key) == Role::link) {
        throw Failure(exitUsage, node.getPath(), shellQuote(key) + " is kept by the library",
                      "choose another key");
    }
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

/// Where the node is, without keeping it open: what is read before the claim may be out of date.
struct Place {
    explicit Place(const std::string& argument) {
        const auto node = namedPresentNode(argument);
        directory = node->getPath();
        marker = node->getMarkerFilePath();
    }

    std::string directory;
    std::string marker;
};

/// Makes the client of a network file system revalidate `path`: its cache may name the file from
/// before the last owner of the flag saved. Returns whether the cached content may be out of date
/// too, as with clients in user space (FUSE), for a second.
bool askServerFor(const std::string& path) {
    struct statfs fileSystem {};
    return ::statfs(path.c_str(), &fileSystem) != 0 || fileSystem.f_type == FUSE_SUPER_MAGIC;
}

/// Opens the node as it is on disk after the claim.
basekit2::sptr_t<vesta2::INode> openClaimed(const Place& place) {
    constexpr std::chrono::milliseconds pause(100);
    constexpr int mostTries = 30;
    for (int attempt = 1;; ++attempt) {
        const bool mayBeWrong = askServerFor(place.marker);
        auto node = namedNode(place.marker);
        const bool isRead = vesta2::Node::markerState(node) == vesta2::marker_state_t::read;
        if (isRead || !mayBeWrong || attempt == mostTries) {
            requireReadable(node);
            return node;
        }
        std::this_thread::sleep_for(pause);
    }
}

int run(const Arguments& arguments, Session& session) {
    const Place place(arguments.node);
    const FlagClaim claim = claimForChange(place.directory);
    // A collector saves its own copy of the properties, and would overwrite the change.
    requireUnclaimed(place.directory, {flags::collecting, vesta2::flag_name::projectReadOnly});
    const auto node = openClaimed(place);
    std::vector<Property> changes;
    for (const std::string& assignment : arguments.assignments) {
        changes.push_back(parseAssignment(*node, assignment));
    }
    for (const Property& change : changes) {
        if (!putProperty(*node, change.key, change.value)) {
            throw Failure(exitUsage, node->getPath(), shellQuote(change.key) + " cannot be a key",
                          "nothing was changed");
        }
    }
    saveProperties(*node);
    if (session.json) {
        Json values = Json::object();
        for (const Property& change : changes) {
            values[jsonName(change.key)] = jsonValue(change.value);
        }
        session.out.writeJson({{"path", jsonText(node->getPath())}, {"properties", values}});
    }
    return exitOk;
}

}  // namespace

Action set(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    nodeArgument(options, arguments->node);
    options.arguments("KEY=VALUE", arguments->assignments, "the properties to change", true);
    return makeAction(arguments, run);
}

}  // namespace cli
