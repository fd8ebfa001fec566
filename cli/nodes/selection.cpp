#include "nodes/selection.h"

#include <sys/stat.h>

#include <algorithm>
#include <boost/filesystem/path.hpp>
#include <cerrno>
#include <set>

#include "base/presence.h"
#include "base/text.h"
#include "nodes/description.h"
#include "nodes/node_argument.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"
#include "vesta2/node.h"

namespace cli {
namespace {

/// Why there is no node at `path`, and what helps.
Failure noNode(const std::string& path, Naming naming) {
    const boost::filesystem::path whole(path);
    const std::string parent = whole.parent_path().native();
    const std::string look = seeCommand("list", parent);
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        if (errno != ENOENT) {
            return Failure::fromErrno(errno, path);
        }
        if (::stat(parent.c_str(), &status) != 0) {
            return Failure::fromErrno(errno, parent);
        }
        const bool isOne = naming == Naming::one;
        return {exitNotFound, path,
                isOne ? "no such result, experiment or project"
                      : "no result, experiment or project has such a name",
                look};
    }
    if (S_ISDIR(status.st_mode)) {
        return {exitNotFound, path, "a directory, but no result, experiment or project",
                seeCommand("list", path) + " for the nodes in it"};
    }
    return {exitNotFound, path, "neither a marker file nor a link file", look};
}

/// Which nodes a word stands for, before any is opened.
struct Meaning {
    Naming naming = Naming::one;
    std::vector<Member> members;
    std::string path;
};

Meaning meaningOf(const std::string& argument) {
    Meaning meaning;
    meaning.path = requirePath(argument);
    const vesta2::FileSet kinds(vesta2::resultMarkerFileExt(), vesta2::experimentMarkerFileExt(),
                                vesta2::projectMarkerFileExt());
    // Before patterns: a directory may be named "r@@@".
    const std::string marker = vesta2::findMarkerFileOrLink(meaning.path, kinds, true);
    const boost::filesystem::path whole(meaning.path);
    if (!marker.empty()) {
        meaning.members.push_back({marker, whole.filename().native()});
        return meaning;
    }
    const std::string name = whole.filename().native();
    meaning.naming = namingOf(name);
    meaning.members = matching(membersOf(whole.parent_path().native()), name);
    if (meaning.members.empty()) {
        throw noNode(meaning.path, meaning.naming);
    }
    if (meaning.naming == Naming::one && meaning.members.size() > 1) {
        throw Failure(exitUsage, meaning.path, "several nodes have this name",
                      "name one by its file, such as " + shellQuote(meaning.members[0].name));
    }
    return meaning;
}

/// Keeps the nodes that the filter selects; of a series the newest of them.
void keepSelected(Meaning& meaning, Filter& filter, Doubt doubt) {
    std::vector<Member> kept;
    const auto isDone = [&] { return meaning.naming == Naming::newest && !kept.empty(); };
    for (auto member = meaning.members.rbegin(); member != meaning.members.rend() && !isDone();
         ++member) {
        if (filter.takesAll()) {
            kept.push_back(*member);
            continue;
        }
        const auto node = openMember(member->marker);
        if (!node) {
            continue;
        }
        const Description description = describe(node);
        const std::optional<bool> isMeant = filter.selects(*node, description);
        if (!isMeant && doubt == Doubt::fails) {
            requireReadable(description);
            throw Failure(exitFailure, description.path,
                          "it cannot be told whether --where holds for it",
                          "nothing was done; " + seeCommand("show", description.path));
        }
        if (isMeant.value_or(true)) {
            kept.push_back(*member);
        }
    }
    std::ranges::reverse(kept);
    meaning.members = std::move(kept);
}

}  // namespace

basekit2::sptr_t<vesta2::INode> openMember(const std::string& marker) {
    auto node = vesta2::Node::lookup(marker, nullptr);
    if (!node && isThere(marker)) {
        throw Failure::fromStatus(vesta2::getStatus(), marker);
    }
    return node;
}

std::vector<Member> membersNamed(const std::string& argument) {
    Meaning meaning = meaningOf(argument);
    if (meaning.naming == Naming::newest) {
        meaning.members.erase(meaning.members.begin(), meaning.members.end() - 1);
    }
    return std::move(meaning.members);
}

std::vector<Member> seriesOf(const std::string& argument) {
    return std::move(meaningOf(argument).members);
}

Member memberNamed(const std::string& argument) {
    std::vector<Member> members = membersNamed(argument);
    if (members.size() > 1) {
        throw Failure(exitUsage, argument,
                      "stands for " + std::to_string(members.size()) + " nodes",
                      "name one of them, such as " + shellQuote(members.back().name));
    }
    return std::move(members.front());
}

std::vector<Member> selectMembers(const Selector& selector, const Session& session, Doubt doubt) {
    Filter filter(selector.where);
    std::vector<std::string> words = selector.nodes;
    if (words.empty() && filter.takesAll()) {
        throw Failure(exitUsage, {}, "which nodes are meant is missing",
                      "name them, or say what holds for them with --where");
    }
    std::vector<Member> selected;
    std::set<std::string> seen;
    const auto select = [&](Meaning meaning) {
        keepSelected(meaning, filter, doubt);
        for (Member& member : meaning.members) {
            if (seen.insert(member.marker).second) {
                selected.push_back(std::move(member));
            }
        }
    };
    if (words.empty()) {
        const std::string here = requirePath(".");
        select({Naming::all, membersOf(here), here});
    }
    for (const std::string& word : words) {
        select(meaningOf(word));
    }
    filter.noteUnusedKeys(session);
    if (selected.empty() && doubt == Doubt::fails) {
        throw Failure(exitNotFound, words.empty() ? requirePath(".") : words.front(),
                      "--where holds for no node here",
                      "nothing was done; try it with 'vesta2 list'");
    }
    return selected;
}

}  // namespace cli
