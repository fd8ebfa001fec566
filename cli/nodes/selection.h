#pragma once
/// The nodes that a command is asked to work on.

#include <map>
#include <string>
#include <vector>

#include "nodes/filter.h"
#include "nodes/members.h"
#include "output/session.h"

namespace cli {

/// NODEs and "--where", as all commands on several nodes take them.
struct Selector {
    std::vector<std::string> nodes;  ///< with an expression none stand for all that are here
    std::vector<std::string> where;
};

/// Which nodes words stand for, before any is opened.
struct Meaning {
    Naming naming = Naming::one;
    std::vector<Member> members;  ///< of a pattern all that match
    std::string path;
    std::vector<Member> closed{};  ///< what could be among them, but may not be looked into
};

/// Finds the nodes that arguments name: what is there under that very name (a directory, a marker
/// or a link file); else the newest of a pattern, all of a glob, or the node that `list` shows by
/// that name. Several of one name only where they are meant. Each directory is listed once.
class NodeFinder {
public:
    /// Raises `Failure` when there is none.
    Meaning meaningOf(const std::string& argument);
    /// The nodes that are meant when nothing more is said.
    std::vector<Member> membersNamed(const std::string& argument);

private:
    std::map<std::string, ListedDirectory> m_listed;
};

/// As `NodeFinder::membersNamed`, of one node.
Member memberNamed(const std::string& argument);

/// The node before `newest` among those that match the pattern; raises `Failure` when there is
/// none.
Member memberBefore(const Member& newest, const std::string& pattern);

/// What follows when it cannot be told whether a node is meant.
enum class Doubt { fails, selects };

/// The nodes that are selected, each once, in the order of the arguments. Of a pattern the newest
/// is taken that the expressions hold for. Where doubt fails it raises `Failure` for it, and when
/// nothing is selected: nothing was done yet.
std::vector<Member> selectMembers(const Selector& selector, const Session& session,
                                  Doubt doubt = Doubt::fails, NodeFinder finder = {});

/// The node of a marker or link file that was found; empty when it has gone meanwhile.
basekit2::sptr_t<vesta2::INode> openMember(const std::string& marker);

}  // namespace cli
