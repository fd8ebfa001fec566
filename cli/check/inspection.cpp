#include "check/inspection.h"

#include <sys/stat.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <string_view>

#include "base/failure.h"
#include "base/presence.h"
#include "base/text.h"
#include "basekit2/bag_io.h"
#include "basekit2/md5.h"
#include "check/repair.h"
#include "nodes/flags.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"
#include "vesta2/property_names.h"

namespace cli {

namespace fs = std::filesystem;
using basekit2::variant_bag_t;

namespace {

/// Links and groups on disk can lead in circles, and a walk needs a bound.
constexpr int mostLevels = 64;

std::string textOf(const variant_bag_t& bag, const char* key) {
    const basekit2::variant_t* value = bag.find(key);
    const std::string* text = value ? value->as_string() : nullptr;
    return text ? *text : std::string();
}

/// Relative ones are meant from where the file that holds them lies.
std::string fullPath(const std::string& path, const fs::path& holder) {
    return (holder.parent_path() / path).lexically_normal().native();
}

std::string nameOf(const std::string& path) { return fs::path(path).filename().native(); }
std::string directoryOf(const std::string& path) { return fs::path(path).parent_path().native(); }

/// Paths may be spelled differently.
bool isSame(const std::string& path, const std::string& other) {
    std::error_code ignored;
    return fs::equivalent(path, other, ignored);
}

bool isLeft(const std::string& temporary) {
    return basekit2::is_left_bag_temporary(nameOf(temporary));
}

/// What precedes the number at the end of a name; nothing without one.
std::optional<std::string> seriesOf(const std::string& name) {
    const std::size_t end = name.find_last_not_of("0123456789") + 1;
    return end == name.size() ? std::nullopt : std::optional(name.substr(0, end));
}

bool isMarker(std::string_view extension) {
    return extension == vesta2::getResultExtension() ||
           extension == vesta2::getExperimentExtension() ||
           extension == vesta2::getProjectExtension();
}

bool isMark(std::string_view name) {
    return name == vesta2::mark::finalized || name == vesta2::mark::invalid;
}

/// Whether a file or directory of that name is what a collector leaves in a result.
bool isTrace(const std::string& name) {
    namespace file = vesta2::result_file;
    return isMark(name) || name == file::collectorLog || name == file::commandLog ||
           name == file::applicationLog ||
           seriesOf(name) == vesta2::getCollectorDataDirectoryPrefix();
}

/// The link file without its suffix: named like the marker files of its kind.
std::string markerExtensionOf(const std::string& link) {
    const std::string extension = fs::path(link).extension().native();
    return extension.substr(0, extension.size() - vesta2::linkSuffix().size());
}

Finding unreadable(const std::string& path, const std::string& problem) {
    return {"unreadable", path, problem, "check the disk and whether you may read it", nullptr};
}

struct Link {
    int result = basekit2::bag_ok;
    std::string target;  ///< a full path; empty in a link that names none
    std::string checksum;
};

Link readLink(const std::string& path) {
    variant_bag_t bag;
    Link link;
    link.result = basekit2::load_variant_bag(bag, path, basekit2::default_root);
    const std::string target = textOf(bag, vesta2::link_key::target);
    link.target = target.empty() ? target : fullPath(target, path);
    link.checksum = textOf(bag, vesta2::link_key::checksum);
    return link;
}

struct Marker {
    int result = basekit2::bag_ok;
    std::string checksum;
    variant_bag_t bag;

    /// The link file that it names; empty when it names none.
    [[nodiscard]] std::string backlink(const std::string& path) const {
        const variant_bag_t* section = bag.get_bag(vesta2::section::vesta);
        const std::string link =
            section ? textOf(*section, vesta2::property::backlink) : std::string();
        return link.empty() ? link : fullPath(link, path);
    }
};

Marker readMarker(const std::string& path) {
    Marker marker;
    std::string text;
    marker.result = basekit2::read_bag_text(path, text);
    if (!basekit2::bag_failed(marker.result)) {
        basekit2::md5_t md5;
        md5.update(text);
        marker.checksum = md5.get_digest_base16();
        marker.result = basekit2::load_variant_bag_from_string(marker.bag, text);
    }
    return marker;
}

}  // namespace

/// What a directory holds, by what it is for.
struct Inspection::Entries {
    explicit Entries(const std::string& directory) {
        for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
            add(entry);
        }
        for (auto* names : {&markers, &links, &temporaries, &directories}) {
            std::sort(names->begin(), names->end());
        }
    }

    [[nodiscard]] bool holdsGroup() const {
        return std::any_of(markers.begin(), markers.end(), [](const std::string& marker) {
            return fs::path(marker).extension() != vesta2::getResultExtension();
        });
    }

    std::vector<std::string> markers;
    std::vector<std::string> links;
    std::vector<std::string> temporaries;
    std::vector<std::string> directories;
    bool isEmpty = true;
    bool hasTraces = false;
    bool isEnded = false;  ///< finalized, or invalid

private:
    void add(const fs::directory_entry& entry) {
        const std::string& path = entry.path().native();
        const std::string name = entry.path().filename().native();
        const fs::file_type type = entry.symlink_status().type();
        isEmpty = false;
        hasTraces = hasTraces || isTrace(name);
        isEnded = isEnded || isMark(name);
        if (basekit2::is_bag_temporary(name)) {
            temporaries.push_back(path);
        } else if (type == fs::file_type::directory) {
            directories.push_back(path);
        } else if (vesta2::isLink(name) && isMarker(markerExtensionOf(name))) {
            links.push_back(path);
        } else if (type == fs::file_type::regular && isMarker(entry.path().extension().native())) {
            markers.push_back(path);
        }
    }
};

Inspection::Inspection(const std::string& directory) {
    isNew(directory);
    const Entries entries(directory);
    if (!entries.markers.empty()) {
        inspectNode(directory, entries);
        return;
    }
    // What is no node is a group all the same, since it was asked for.
    if (entries.hasTraces) {
        inspectWithoutMarker(directory, entries, {});
    }
    inspectTemporaries(entries);
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

bool Inspection::isNew(const std::string& directory) {
    struct stat status {};
    if (::stat(directory.c_str(), &status) != 0) {
        throw Failure::fromErrno(errno, directory);
    }
    return m_seen.emplace(status.st_dev, status.st_ino).second;
}

void Inspection::inspectDirectory(const std::string& directory,
                                  const std::set<std::string>& series) {
    if (!isNew(directory)) {
        return;
    }
    const Entries entries(directory);
    if (entries.markers.empty()) {
        inspectWithoutMarker(directory, entries, series);
    } else {
        inspectNode(directory, entries);
    }
}

void Inspection::inspectWithoutMarker(const std::string& directory, const Entries& entries,
                                      const std::set<std::string>& series) {
    const std::string remedy =
        "make it a result, " + seeCommand("get", directory) + ", or delete it";
    if (std::any_of(entries.temporaries.begin(), entries.temporaries.end(), isLeft)) {
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
        if (isResult) {
            m_findings.back().repair = [directory] { removeEmptyDirectory(directory); };
        }
    } else {
        // A folder, which may hold nodes, or what is left of a copy of a group.
        inspectMembers(directory, entries);
    }
}

void Inspection::inspectNode(const std::string& directory, const Entries& entries) {
    ++m_nodes;
    if (entries.markers.size() > 1) {
        std::string names;
        for (const std::string& marker : entries.markers) {
            names += (names.empty() ? "" : ", ") + nameOf(marker);
        }
        m_findings.push_back(
            {"two-markers", directory,
             "has " + std::to_string(entries.markers.size()) + " marker files: " + names,
             "move those away that are not this node's", nullptr});
    }
    for (const std::string& marker : entries.markers) {
        inspectMarker(marker);
    }
    inspectFlags(directory, entries.isEnded);
    inspectTemporaries(entries);
    if (entries.holdsGroup()) {
        inspectMembers(directory, entries);
    }
}

void Inspection::inspectMembers(const std::string& directory, const Entries& entries) {
    if (m_depth == mostLevels) {
        m_findings.push_back({"too-deep", directory, "lies in more groups than can be",
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
        inspect(member, [&] { inspectDirectory(member, series); });
    }
    for (const std::string& link : entries.links) {
        inspect(link, [&] { inspectLink(link, directory); });
    }
    --m_depth;
}

void Inspection::inspectMarker(const std::string& path) {
    const Marker marker = readMarker(path);
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
    if (!marker.bag.get_bag(vesta2::section::vesta)) {
        m_findings.push_back({"empty-marker", path, "the marker file tells nothing of its node",
                              seeCommand("get", directoryOf(path)), nullptr});
        return;
    }
    const std::string link = marker.backlink(path);
    const std::string group = directoryOf(link);
    if (link.empty() || !isThere(group)) {
        return;
    }
    const Link found = readLink(link);
    if (found.result == basekit2::bag_absent || !isSame(found.target, path)) {
        const char* const problem = found.result == basekit2::bag_absent
                                        ? "its link is gone: "
                                        : "its link does not lead here: ";
        m_findings.push_back({"lost-link", path, problem + link,
                              "take it in again with 'vesta2 add " +
                                  shellQuote({directoryOf(path), "--to", group}) + "'",
                              nullptr});
    }
}

void Inspection::inspectLink(const std::string& path, const std::string& group) {
    const char* const remedy = "delete it, and add the node again";
    if (fs::is_symlink(fs::symlink_status(path))) {
        m_findings.push_back(
            {"wrong-link", path, "is a symbolic link, and is not followed", remedy, nullptr});
        return;
    }
    const Link link = readLink(path);
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
    const Marker marker = readMarker(link.target);
    const std::string other = marker.backlink(link.target);
    if (!other.empty() && !isSame(other, path) && isSame(readLink(other).target, link.target)) {
        m_findings.push_back({"foreign-link", path, "leads to the node of another link: " + other,
                              "delete one of the two links", nullptr});
    } else if (!basekit2::bag_failed(marker.result) && marker.checksum != link.checksum) {
        m_findings.push_back({"stale-link", path, "was written before its node changed",
                              "it is renewed when the node is opened next",
                              [path, group] { renewLink(path, group); }, true});
    }
    inspectDirectory(directoryOf(link.target), {});
}

void Inspection::inspectFlags(const std::string& directory, bool isEnded) {
    for (const vesta2::util::FlagLook& look : vesta2::util::lookAtFlags(directory)) {
        if (look.state() != vesta2::util::flag_state_t::stale) {
            continue;
        }
        if (look.name() == flags::collecting && !isEnded) {
            m_findings.push_back(
                {"orphaned", directory, "its collector has ended without finishing it",
                 "mark it with 'vesta2 finalize' or 'vesta2 invalidate'", nullptr});
            continue;
        }
        m_findings.push_back({"stale-flag", directory + "/" + look.name(),
                              "the flag's owner has ended without giving it up",
                              "the next claim takes it over",
                              [directory, name = look.name()] { clearFlag(directory, name); }});
    }
}

void Inspection::inspectTemporaries(const Entries& entries) {
    for (const std::string& path : entries.temporaries) {
        if (isLeft(path)) {
            m_findings.push_back({"temporary-file", path,
                                  "is left of a save or a copy whose process has ended",
                                  "delete it", [path] { removeTemporary(path); }});
        }
    }
}

}  // namespace cli
