#include "nodes/members.h"

#include <sys/stat.h>

#include <algorithm>
#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/path.hpp>
#include <filesystem>
#include <functional>
#include <iterator>
#include <optional>
#include <set>

#include "base/text.h"
#include "basekit2/path.h"
#include "vesta2/discovery.h"
#include "vesta2/names.h"
#include "vesta2/pattern.h"
#include "vesta2/result_directory_manager.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

bool isAbsent(const std::error_code& error) {
    return error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory;
}

/// Whether an entry that must not be looked into is what others keep to themselves, and the
/// directory open.
bool isClosed(const std::error_code& error, const std::string& directory) {
    struct stat status {};
    return error == std::errc::permission_denied &&
           ::stat((directory + "/.").c_str(), &status) == 0;
}

/// The marker or link file of an entry; empty for what is no node, or has just gone. Nothing for
/// what this process may not look into.
std::optional<std::string> nodeFileAt(const fs::directory_entry& entry,
                                      const std::string& directory, const vesta2::FileSet& kinds) {
    const std::string path = entry.path().native();
    try {
        const fs::file_type type = entry.symlink_status().type();
        const bool mayBeNode = type == fs::file_type::directory || type == fs::file_type::symlink ||
                               vesta2::hasLinkExtension(path, kinds);
        std::string marker = mayBeNode ? vesta2::findMarkerFileOrLink(path, kinds, false) : "";
        // A symbolic link that leads nowhere does not stand for the link file beside it.
        return marker == path || marker.starts_with(path + "/") ? marker : "";
    } catch (const boost::filesystem::filesystem_error& error) {
        const std::error_code code(error.code().value(), std::generic_category());
        if (isAbsent(code)) {
            return std::string();
        }
        if (!isClosed(code, directory)) {
            throw;
        }
        return std::nullopt;
    }
}

std::string_view fileNameOf(std::string_view path) { return path.substr(path.rfind('/') + 1); }

std::string_view stemOf(std::string_view path) {
    const std::string_view name = fileNameOf(path);
    return name.substr(0, name.rfind('.'));
}

/// What stands for the node in its directory: the node's own, or the link file without extension.
std::string_view entryOf(std::string_view marker) {
    return vesta2::isLink(std::string(marker)) ? stemOf(marker)
                                               : fileNameOf(marker.substr(0, marker.rfind('/')));
}

void giveNames(std::vector<Member>& members) {
    // How many nodes a name could stand for. The texts lie in the members.
    std::unordered_map<std::string_view, int> uses;
    for (const Member& member : members) {
        const std::string_view stem = stemOf(member.marker);
        ++uses[stem];
        if (entryOf(member.marker) != stem) {
            ++uses[entryOf(member.marker)];
        }
    }
    for (Member& member : members) {
        const std::string_view stem = stemOf(member.marker);
        const std::string_view marker = member.marker;
        const bool isPlain = !stem.empty() && uses[stem] == 1;
        const std::size_t entry = marker.rfind('/', marker.rfind('/') - 1) + 1;
        member.name = isPlain                         ? stem
                      : vesta2::isLink(member.marker) ? fileNameOf(marker)
                                                      : marker.substr(entry);
    }
}

std::vector<Member> listMembers(const std::string& directory, const WantedEntry& isWanted,
                                std::vector<Member>* closed) {
    std::vector<Member> members;
    std::error_code error;
    const fs::directory_iterator listing(directory, error);
    if (isAbsent(error)) {
        return members;
    }
    if (error) {
        throw Failure::fromErrno(error.value(), directory);
    }
    const vesta2::FileSet kinds(vesta2::resultMarkerFileExt(), vesta2::experimentMarkerFileExt(),
                                vesta2::projectMarkerFileExt());
    for (const fs::directory_entry& entry : listing) {
        if (!isWanted(entry.path().filename().native())) {
            continue;
        }
        std::optional<std::string> marker = nodeFileAt(entry, directory, kinds);
        if (!marker && closed) {
            closed->push_back({entry.path().native(), entry.path().filename().native()});
        } else if (marker && !marker->empty()) {
            members.push_back({*std::move(marker), {}});
        }
    }
    giveNames(members);
    std::ranges::sort(members, isCountedBefore, &Member::name);
    return members;
}

}  // namespace

Failure searchFailure(vesta2::error_t status, const std::string& pattern) {
    if (status == vesta2::eParameterError) {
        // The status of a search does not tell what is wrong with a pattern.
        const std::string name = boost::filesystem::path(pattern).filename().native();
        status = vesta2::ResultDirectoryManager::validateResultDirectoryPattern(name.c_str());
    }
    return Failure::fromStatus(status, pattern);
}

std::vector<Member> membersOf(const std::string& directory, std::vector<Member>* closed) {
    return listMembers(
        directory, [](const std::string&) { return true; }, closed);
}

std::vector<Member> membersOf(const std::string& directory, const WantedEntry& isWanted) {
    return listMembers(directory, isWanted, nullptr);
}

Naming namingOf(const std::string& name) {
    vesta2::Pattern pattern;
    if (name.find_first_of("*?[") != std::string::npos) {
        return Naming::all;
    }
    const bool isPattern = pattern.set(name, nullptr) == vesta2::eOK && pattern.width() > 0;
    return isPattern ? Naming::newest : Naming::one;
}

std::vector<Member> matching(std::vector<Member> members, const std::string& mask) {
    if (mask == "*") {
        return members;
    }
    std::function<bool(const Member&)> isMeant;
    vesta2::Pattern pattern;
    if (namingOf(mask) == Naming::all) {
        isMeant = [&](const Member& member) {
            return basekit2::path_t(std::string(stemOf(member.marker))).match(mask);
        };
    } else {
        if (const auto status = vesta2::validateFileName(mask.c_str())) {
            throw Failure::fromStatus(status, mask);
        }
        if (pattern.set(mask, nullptr) != vesta2::eOK) {
            throw searchFailure(vesta2::eParameterError, mask);
        }
        const bool isPattern = pattern.width() > 0;
        isMeant = [&pattern, &mask, isPattern](const Member& member) {
            const std::string_view stem = stemOf(member.marker);
            return isPattern ? pattern.match(std::string(stem), nullptr)
                             : stem == mask || entryOf(member.marker) == mask;
        };
    }
    std::erase_if(members, [&](const Member& member) { return !isMeant(member); });
    return members;
}

std::vector<Member> ListedDirectory::matching(const std::string& name) {
    if (namingOf(name) != Naming::one) {
        return cli::matching(m_members, name);
    }
    if (m_positions.empty()) {
        for (std::size_t i = 0; i < m_members.size(); ++i) {
            const std::string& marker = m_members[i].marker;
            m_positions.emplace(stemOf(marker), i);
            if (entryOf(marker) != stemOf(marker)) {
                m_positions.emplace(entryOf(marker), i);
            }
        }
    }
    std::set<std::size_t> found;
    for (auto [each, end] = m_positions.equal_range(name); each != end; ++each) {
        found.insert(each->second);
    }
    std::vector<Member> members;
    std::ranges::transform(found, std::back_inserter(members),
                           [&](std::size_t position) { return m_members[position]; });
    return cli::matching(std::move(members), name);
}

std::vector<Member> ListedDirectory::closedMatching(const std::string& name) const {
    return cli::matching(m_closed, name);
}

}  // namespace cli
