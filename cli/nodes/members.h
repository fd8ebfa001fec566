#pragma once
/// The nodes of a directory, as people name them.

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/failure.h"

namespace cli {

struct Member {
    std::string marker;  ///< its marker or link file
    /// What every command takes for it in this directory: the name of the file without extension.
    /// Where that could be another node, too, it is the path of the file from here.
    std::string name;
};

/// Whether an entry of a directory is asked for, by its name.
using WantedEntry = std::function<bool(const std::string& entry)>;

/// All nodes of a directory, ordered as people count, r999 before r1000: the newest of a series is
/// the last. Empty when there is no such directory. What this process may not look into is passed
/// over: `closed` gets its paths and names.
std::vector<Member> membersOf(const std::string& directory, std::vector<Member>* closed = nullptr);
/// Those whose entry in the directory `isWanted`, named as if there were no others.
std::vector<Member> membersOf(const std::string& directory, const WantedEntry& isWanted);

/// What a name stands for.
enum class Naming { one, newest, all };
/// "r@@@" stands for the newest, "r*" for all, and any other for one.
Naming namingOf(const std::string& name);

/// Those of `members` that `mask` names: a name, a pattern, or a glob. Raises `Failure` for what is
/// none of them.
std::vector<Member> matching(std::vector<Member> members, const std::string& mask);

/// A directory that was listed once, to find many names in it.
class ListedDirectory {
public:
    explicit ListedDirectory(const std::string& path) : m_members(membersOf(path, &m_closed)) {}
    ListedDirectory(const ListedDirectory&) = delete;
    ListedDirectory& operator=(const ListedDirectory&) = delete;

    /// Those that `name` stands for; raises `Failure` as `matching`.
    [[nodiscard]] std::vector<Member> matching(const std::string& name);
    /// What this process may not look into, and could be some of them.
    [[nodiscard]] std::vector<Member> closedMatching(const std::string& name) const;

private:
    std::vector<Member> m_closed;
    const std::vector<Member> m_members;
    std::unordered_multimap<std::string_view, std::size_t> m_positions;  ///< by name
};

/// Why a search for `pattern` ended with `status`.
Failure searchFailure(vesta2::error_t status, const std::string& pattern);

}  // namespace cli
