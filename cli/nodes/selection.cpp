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
#include "vesta2/i_experiment.h"
#include "vesta2/i_project.h"
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

/// Raises `Failure` when what may not be looked into could be newer than `member`.
void requireNewest(const Meaning& meaning, const Member& member) {
    for (const Member& closed : meaning.closed) {
        if (isCountedBefore(member.name, closed.name)) {
            throw Failure(exitPermission, closed.marker,
                          "may not be looked into, and could be the newest",
                          "name the one that is meant, such as " + shellQuote(member.name));
        }
    }
}

/// Keeps the nodes that the filter selects; of a series the newest of them.
void keepSelected(Meaning& meaning, Filter& filter, Doubt doubt) {
    std::vector<Member> kept;
    const bool isOne = meaning.naming == Naming::newest;
    const auto isDone = [&] { return isOne && !kept.empty(); };
    for (auto member = meaning.members.rbegin(); member != meaning.members.rend() && !isDone();
         ++member) {
        if (isOne) {
            requireNewest(meaning, *member);
        }
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

Failure noneSelected(const std::vector<std::string>& words) {
    const std::string first = words.empty() ? requirePath(".") : words.front();
    const bool isGroup =
        vesta2::IProject::probe(first.c_str()) || vesta2::IExperiment::probe(first.c_str());
    return {exitNotFound, first, "--where holds for no node here",
            words.empty() || !isGroup
                ? "nothing was done; try it with 'vesta2 list'"
                : "nothing was done; the nodes in it are " + shellQuote(first + "/*")};
}

}  // namespace

basekit2::sptr_t<vesta2::INode> openMember(const std::string& marker) {
    auto node = vesta2::Node::lookup(marker, nullptr);
    if (!node && isThere(marker)) {
        throw Failure::fromStatus(vesta2::getStatus(), marker);
    }
    return node;
}

Meaning NodeFinder::meaningOf(const std::string& argument) {
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
    const std::string parent = whole.parent_path().native();
    ListedDirectory& directory = m_listed.try_emplace(parent, parent).first->second;
    meaning.naming = namingOf(name);
    meaning.members = directory.matching(name);
    meaning.closed = directory.closedMatching(name);
    if (meaning.members.empty()) {
        if (!meaning.closed.empty()) {
            throw Failure::fromErrno(EACCES, meaning.closed.back().marker);
        }
        throw noNode(meaning.path, meaning.naming);
    }
    if (meaning.naming == Naming::one && meaning.members.size() > 1) {
        throw Failure(exitUsage, meaning.path, "several nodes have this name",
                      "name one by its file, such as " + shellQuote(meaning.members[0].name));
    }
    return meaning;
}

std::vector<Member> NodeFinder::membersNamed(const std::string& argument) {
    Meaning meaning = meaningOf(argument);
    if (meaning.naming == Naming::newest) {
        requireNewest(meaning, meaning.members.back());
        meaning.members.erase(meaning.members.begin(), meaning.members.end() - 1);
    }
    return std::move(meaning.members);
}

Member memberBefore(const Member& newest, const std::string& pattern) {
    const Meaning series = NodeFinder().meaningOf(pattern);
    const auto at = std::ranges::find(series.members, newest.marker, &Member::marker);
    if (at == series.members.begin() || at == series.members.end()) {
        throw Failure(exitNotFound, newest.marker, "there is no second result",
                      "name another result, or a pattern that matches two, such as 'r@@@'");
    }
    requireNewest(series, *(at - 1));
    return *(at - 1);
}

Member memberNamed(const std::string& argument) {
    std::vector<Member> members = NodeFinder().membersNamed(argument);
    if (members.size() > 1) {
        throw Failure(exitUsage, argument,
                      "stands for " + std::to_string(members.size()) + " nodes",
                      "name one of them, such as " + shellQuote(members.back().name));
    }
    return std::move(members.front());
}

std::vector<Member> selectMembers(const Selector& selector, const Session& session, Doubt doubt,
                                  NodeFinder finder) {
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
        select(finder.meaningOf(word));
    }
    if (doubt == Doubt::selects) {
        filter.noteUnusedKeys(session);
        return selected;
    }
    filter.requireUsedKeys();
    if (selected.empty()) {
        throw noneSelected(words);
    }
    return selected;
}

}  // namespace cli
