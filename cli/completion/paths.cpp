#include "completion/paths.h"

#include <boost/filesystem/path.hpp>
#include <cstdlib>
#include <filesystem>
#include <map>

#include "nodes/members.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

/// How many entries are looked into: it takes some ten milliseconds.
constexpr std::size_t mostLooks = 1000;

bool isResult(const Member& member) {
    return vesta2::hasExtension(member.marker, vesta2::resultMarkerFileExt()) ||
           vesta2::hasExtension(member.marker, vesta2::resultLinkExt());
}

/// The name in the directory: of the link file, or of the node's own directory.
std::string entryOf(const Member& member) {
    const fs::path marker(member.marker);
    return (vesta2::isLink(member.marker) ? marker : marker.parent_path()).filename().native();
}

/// The entries of a directory that begin with `beginning`, and whether each is a directory.
struct Entries {
    Entries(const std::string& directory, const std::string& beginning) {
        std::error_code ignored;
        for (const fs::directory_entry& entry : fs::directory_iterator(directory, ignored)) {
            ++total;
            const std::string name = entry.path().filename().native();
            if (name.starts_with(beginning) && (name.front() != '.' || !beginning.empty())) {
                wanted[name] = entry.is_directory(ignored);
            }
        }
    }

    std::size_t total = 0;
    std::map<std::string, bool> wanted{};
};

std::vector<Member> knownMembers(const std::string& directory, const std::string& beginning,
                                 const Entries& entries) {
    if (entries.total <= mostLooks) {
        return membersOf(directory);
    }
    const auto isWanted = [&](const std::string& entry) { return entry.starts_with(beginning); };
    return entries.wanted.size() <= mostLooks ? membersOf(directory, isWanted)
                                              : std::vector<Member>();
}

}  // namespace

std::string withoutTilde(const std::string& path) {
    const char* const home = path == "~" || path.starts_with("~/") ? std::getenv("HOME") : nullptr;
    return home ? home + path.substr(1) : path;
}

std::string fullDirectory(const std::string& path) {
    return fs::absolute(path.empty() ? "." : withoutTilde(path)).lexically_normal().native();
}

std::set<std::string> pathsLike(const std::string& path, PathKind kind) {
    const std::string front = path.substr(0, path.rfind('/') + 1);
    const std::string beginning = path.substr(front.size());
    const std::string directory = fullDirectory(front);
    Entries entries(directory, beginning);
    std::set<std::string> found;
    if (kind == PathKind::node || kind == PathKind::group) {
        for (const Member& member : knownMembers(directory, beginning, entries)) {
            const bool isNamed = member.name.starts_with(beginning);
            const auto entry = entries.wanted.find(entryOf(member));
            if (entry != entries.wanted.end() && isResult(member)) {
                entry->second = false;
            }
            if (entry != entries.wanted.end() && isNamed && vesta2::isLink(member.marker)) {
                // The name says as much as the link file.
                entries.wanted.erase(entry);
            }
            if (isNamed && (kind == PathKind::node || !isResult(member)) &&
                !entries.wanted.contains(member.name)) {
                found.insert(front + member.name);
            }
        }
    }
    for (const auto& [name, isDirectory] : entries.wanted) {
        if (isDirectory || kind == PathKind::node || kind == PathKind::file) {
            found.insert(front + name + (isDirectory ? "/" : ""));
        }
    }
    return found;
}

}  // namespace cli
