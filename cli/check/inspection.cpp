#include "check/inspection.h"

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <filesystem>
#include <optional>

#include "base/failure.h"
#include "base/presence.h"
#include "base/text.h"
#include "basekit2/bag_io.h"
#include "nodes/flags.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"

namespace cli {

namespace fs = std::filesystem;

namespace {

/// Links and groups on disk can lead in circles, and a walk needs a bound.
constexpr int mostLevels = 64;

/// Paths may be spelled differently. False when one leads nowhere; raises
/// `std::filesystem::filesystem_error` when that cannot be told.
bool isSame(const std::string& path, const std::string& other) {
    return fs::exists(path) && fs::exists(other) && fs::equivalent(path, other);
}

bool isLeft(const std::string& temporary) {
    return basekit2::is_left_bag_temporary(nameOf(temporary));
}

/// What is left in a directory that is being deleted.
bool isOfRemoval(const std::string& temporary) {
    return isLeft(temporary) && temporary.ends_with(basekit2::removal_suffix);
}

Finding unreadable(const std::string& path, const std::string& problem) {
    return {"unreadable", path, problem, "check the disk and whether you may read it", nullptr};
}

}  // namespace

Inspection::Inspection(const std::string& path) {
    const FoundDirectory directory(fs::canonical(path));
    m_seen.insert(directory.key());
    const DirectoryEntries entries(directory.path());
    if (!entries.markers.empty()) {
        inspectNode(directory, entries);
        return;
    }
    // What is no node is a group all the same, since it was asked for.
    if (entries.hasTraces || !entries.odd.empty()) {
        inspectWithoutMarker(directory, entries, {}, nullptr);
    }
    inspectTemporaries(directory, entries);
    inspectMembers(directory, entries);
}

template <class Work>
void Inspection::inspect(const std::string& path, const Work& work) {
    try {
        work();
    } catch (const Failure& failure) {
        m_findings.push_back(unreadable(failure.path(), failure.problem()));
    } catch (const boost::filesystem::filesystem_error& error) {
        m_findings.push_back(unreadable(path, error.code().message()));
    } catch (const fs::filesystem_error& error) {
        m_findings.push_back(unreadable(path, error.code().message()));
    }
}

void Inspection::inspectDirectory(const std::string& path, const std::set<std::string>& series,
                                  const FoundDirectory* parent) {
    const FoundDirectory directory(path);
    if (!m_seen.insert(directory.key()).second) {
        return;
    }
    const DirectoryEntries entries(path);
    if (entries.markers.empty()) {
        inspectWithoutMarker(directory, entries, series, parent);
    } else {
        inspectNode(directory, entries);
    }
}

void Inspection::inspectWithoutMarker(const FoundDirectory& place, const DirectoryEntries& entries,
                                      const std::set<std::string>& series,
                                      const FoundDirectory* parent) {
    const std::string& directory = place.path();
    const std::string remedy =
        "make it a result, " + seeCommand("get --literal", directory) + ", or delete it";
    for (const std::string& path : entries.odd) {
        m_findings.push_back({"damaged-marker", path, "stands for a marker file, and is no file",
                              "move it away, and restore the marker file from a copy", nullptr});
    }
    if (!entries.odd.empty()) {
        return;
    }
    if (std::any_of(entries.temporaries.begin(), entries.temporaries.end(), isOfRemoval)) {
        m_findings.push_back({"half-removed", directory,
                              "is what is left of a node that was removed", "delete it", nullptr});
    } else if (std::any_of(entries.temporaries.begin(), entries.temporaries.end(), isLeft)) {
        m_findings.push_back({"interrupted", directory,
                              "has no marker file, but a temporary one: what made it, a copy or a "
                              "creation, did not come to its end",
                              "compare it with its source, if it has one; then " + remedy,
                              nullptr});
    } else if (entries.hasTraces) {
        m_findings.push_back(
            {"missing-marker", directory,
             "looks like a result, but has no marker file: what made it, a copy or "
             "a creation, has not come to its end",
             remedy, nullptr});
    } else if (entries.isEmpty) {
        // Named like the results beside it, or anything that somebody may want.
        const bool isResult = series.count(seriesOf(nameOf(directory)).value_or("")) != 0;
        m_findings.push_back({"empty-directory", directory,
                              "is empty: perhaps a creation did not come to its end", "delete it",
                              nullptr, !isResult});
        if (isResult && parent) {
            m_findings.back().repair = [parent = *parent, name = nameOf(directory)] {
                removeEmptyDirectory(parent, name);
            };
        }
    } else {
        // A folder, which may hold nodes, or what is left of a copy of a group.
        inspectMembers(place, entries);
    }
}

void Inspection::inspectNode(const FoundDirectory& directory, const DirectoryEntries& entries) {
    ++m_nodes;
    if (entries.markers.size() > 1) {
        std::string names;
        for (const std::string& marker : entries.markers) {
            names += (names.empty() ? "" : ", ") + nameOf(marker);
        }
        m_findings.push_back(
            {"two-markers", directory.path(),
             "has " + std::to_string(entries.markers.size()) + " marker files: " + names,
             "move those away that are not this node's", nullptr});
    }
    for (const std::string& marker : entries.markers) {
        inspectMarker(marker);
    }
    inspectFlags(directory, entries.isEnded);
    inspectTemporaries(directory, entries);
    if (entries.holdsGroup()) {
        inspectMembers(directory, entries);
    }
}

void Inspection::inspectMembers(const FoundDirectory& directory, const DirectoryEntries& entries) {
    if (m_depth == mostLevels) {
        m_findings.push_back({"too-deep", directory.path(), "lies in more groups than can be",
                              "look for links that lead in a circle", nullptr});
        return;
    }
    ++m_depth;
    std::set<std::string> series;
    for (const std::string& member : entries.directories) {
        std::error_code ignored;
        const std::string name = nameOf(member);
        const fs::path marker = fs::path(member) / (name + vesta2::getResultExtension());
        const bool isResult = fs::exists(marker, ignored);
        if (const std::optional<std::string> its = seriesOf(name); its && isResult) {
            series.insert(*its);
        }
    }
    for (const std::string& member : entries.directories) {
        inspect(member, [&] { inspectDirectory(member, series, &directory); });
    }
    for (const std::string& link : entries.links) {
        inspect(link, [&] { inspectLink(link, directory.path()); });
    }
    --m_depth;
}

void Inspection::inspectMarker(const std::string& path) {
    const MarkerContent marker(path);
    if (marker.result == basekit2::bag_absent) {
        return;
    }
    if (marker.result == basekit2::bag_unreadable) {
        m_findings.push_back(unreadable(path, "the marker file cannot be read"));
        return;
    }
    if (basekit2::bag_failed(marker.result)) {
        m_findings.push_back({"damaged-marker", path, "the marker file is damaged",
                              "restore it from a copy", nullptr});
        return;
    }
    if (!marker.tellsOfNode) {
        m_findings.push_back({"empty-marker", path, "the marker file tells nothing of its node",
                              "record what is known of it with 'vesta2 set " +
                                  shellQuote(directoryOf(path)) + " KEY=VALUE'",
                              nullptr});
        return;
    }
    const std::string link = marker.backlink;
    const std::string group = directoryOf(link);
    // One that lies in the group itself needs no link, and may have had one elsewhere.
    if (link.empty() || !isThere(group) || isSame(directoryOf(directoryOf(path)), group)) {
        return;
    }
    const LinkContent found(link);
    if (found.result == basekit2::bag_unreadable) {
        m_findings.push_back(unreadable(link, "the link cannot be read"));
    } else if (!isSame(found.target, path)) {
        // A copy takes the link of its source over.
        const bool isGone = found.target.empty() || !isThere(found.target);
        m_findings.push_back({"lost-link", path,
                              (isGone ? "its link is gone, or leads nowhere: "
                                      : "its link leads to another node: ") +
                                  link,
                              "take it in again with 'vesta2 add " +
                                  shellQuote({directoryOf(path), "--to", group}) + "'",
                              nullptr, !isGone});
    }
}

void Inspection::inspectLink(const std::string& path, const std::string& group) {
    const char* const remedy = "delete it, and add the node again";
    const fs::file_type type = fs::symlink_status(path).type();
    if (type != fs::file_type::regular && type != fs::file_type::not_found) {
        m_findings.push_back({"wrong-link", path, "is no file of its own", remedy, nullptr});
        return;
    }
    const LinkContent link(path);
    if (link.result == basekit2::bag_absent) {
        return;
    }
    if (link.result == basekit2::bag_unreadable) {
        m_findings.push_back(unreadable(path, "the link cannot be read"));
        return;
    }
    if (basekit2::bag_failed(link.result) || link.target.empty() || link.checksum.empty()) {
        m_findings.push_back(
            {"damaged-link", path, "does not tell where its node is", remedy, nullptr});
        return;
    }
    if (!vesta2::hasExtension(boost::filesystem::path(link.target), markerExtensionOf(path))) {
        m_findings.push_back({"wrong-link", path,
                              "leads to what is no marker file of its kind: " + link.target, remedy,
                              nullptr});
        return;
    }
    if (!isThere(link.target)) {
        m_findings.push_back({"dangling-link", path, "leads to what is not there: " + link.target,
                              "name its place with 'vesta2 relink " + shellQuote(path) +
                                  " MARKER', or delete the link",
                              nullptr});
        return;
    }
    const MarkerContent marker(link.target);
    const std::string other = marker.backlink;
    if (!other.empty() && !isSame(other, path) && isSame(LinkContent(other).target, link.target)) {
        m_findings.push_back({"foreign-link", path, "leads to the node of another link: " + other,
                              "delete one of the two links", nullptr});
    } else if (!basekit2::bag_failed(marker.result) && marker.checksum != link.checksum) {
        m_findings.push_back({"stale-link", path, "was written before its node changed",
                              "it is renewed when the node is opened next",
                              [path, group] { renewLink(path, group); }, true});
    }
    inspectDirectory(directoryOf(link.target), {}, nullptr);
}

void Inspection::inspectFlags(const FoundDirectory& directory, bool isEnded) {
    for (const vesta2::util::FlagLook& look : vesta2::util::lookAtFlags(directory.path())) {
        if (look.state() != vesta2::util::flag_state_t::stale) {
            continue;
        }
        if (look.name() == flags::collecting && !isEnded) {
            m_findings.push_back(
                {"orphaned", directory.path(), "its collector has ended without finishing it",
                 "mark it with 'vesta2 finalize' or 'vesta2 invalidate'", nullptr});
            continue;
        }
        m_findings.push_back({"stale-flag", directory.path() + "/" + look.name(),
                              "the flag's owner has ended without giving it up",
                              "the next claim takes it over",
                              [directory, name = look.name()] { clearFlag(directory, name); }});
    }
}

void Inspection::inspectTemporaries(const FoundDirectory& directory,
                                    const DirectoryEntries& entries) {
    for (const std::string& path : entries.temporaries) {
        if (isOfRemoval(path)) {
            m_findings.push_back(
                {"half-removed", directory.path(),
                 "what removed or moved it has not come to its end: a part may be gone",
                 "remove it, " + seeCommand("remove", directory.path()) +
                     ", or, if nothing is missing, delete " + path,
                 nullptr});
        } else if (isLeft(path)) {
            m_findings.push_back(
                {"temporary-file", path, "is left of a save or a copy whose process has ended",
                 "delete it",
                 [directory, name = nameOf(path)] { removeTemporary(directory, name); }});
        }
    }
}

}  // namespace cli
