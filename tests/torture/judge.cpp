#include <algorithm>
#include <boost/algorithm/string/split.hpp>
#include <cerrno>
#include <filesystem>
#include <ranges>
#include <sstream>

#include "basekit2/bag_io.h"
#include "cases.h"

namespace torture {
namespace {

constexpr int greatestCode = 7;

/// The same rows, where those of a listing, and single cells, may tell that they could not be read,
/// and a node may be shown without its group. What may not be looked into is another user's affair,
/// and left out.
bool isPartOf(const std::string& whole, const std::string& printed, bool isForbidden) {
    const auto split = [](const std::string& text, char at) {
        std::vector<std::string> parts;
        return boost::split(parts, text, [at](char c) { return c == at; });
    };
    const auto isSameCell = [](auto& wanted, auto& now) {
        return now == wanted || now == "?" || now == "unknown";
    };
    const auto isSameRow = [&](auto& wanted, auto& row) {
        return (row.starts_with(wanted.substr(0, wanted.find('\t'))) &&
                row.find("\tunreadable\t") != row.npos) ||
               std::ranges::equal(split(wanted, '\t'), split(row, '\t'), isSameCell);
    };
    const auto rows = split(whole, '\n');
    const auto found = split(printed, '\n');
    if (isForbidden) {
        return std::ranges::all_of(found, [&](auto& row) {
            return std::ranges::any_of(rows, [&](auto& wanted) { return isSameRow(wanted, row); });
        });
    }
    return printed.find("\nparent\tunknown\n") != printed.npos ||
           std::ranges::equal(rows, found, isSameRow);
}

struct Judge {
    const Case& m_case;
    const Survey& m_before;
    const Outcome& m_undisturbed;
    const Fault& m_fault;
    const TracedRun& m_run;
    const Survey& m_after;
    const bool m_isDone = m_run.code == m_undisturbed.run.code;
    std::vector<std::string> m_wrong{};

    std::vector<std::string> judge() {
        m_isDone ? judgeSuccess() : judgeFailure();
        for (const auto& [directory, was] : m_before.nodes) {
            judgeNode(directory, was);
        }
        for (const std::string& marker : m_after.damaged) {
            blame("torn marker: " + marker);
        }
        if (!m_after.isListed) {
            blame("the next list fails");
        }
        judgeLeavings();
        judgeCheck();
        return std::move(m_wrong);
    }

    void blame(const std::string& what) { m_wrong.push_back(what); }

    void judgeSuccess() {
        const auto isFailedFlush = [](auto& call) { return call.isFailed && call.is(flushes); };
        const std::string& expected = m_undisturbed.run.out;
        if (m_case.is("others") && m_run.out != expected) {
            // What is somebody else's, or may be claimed, is kept, so that less is deleted.
            std::istringstream lines(m_run.out);
            for (std::string line; std::getline(lines, line);) {
                if (line.starts_with("delete") && expected.find(line) == expected.npos) {
                    blame("prints something else: " + m_run.out);
                }
            }
        } else if (m_case.is("partly") ? !isPartOf(expected, m_run.out, m_fault.error == EACCES)
                                       : m_run.out != expected && !m_case.is("elsewhere")) {
            blame("prints something else: " + m_run.out);
        } else if (!hasItsEffect()) {
            blame("success without its effect");
        } else if (!isFlushed() || (m_fault.error != EINTR && !m_case.is("unflushed") &&
                                    std::ranges::any_of(m_run.calls, isFailedFlush))) {
            blame("success, but perhaps not on the disk");
        }
    }

    [[nodiscard]] bool hasItsEffect() const {
        const Survey& expected = m_undisturbed.after;
        const auto isThere = [&](auto& node) {
            return std::ranges::count(std::views::values(m_after.nodes), node) != 0;
        };
        return m_after.backLinks == expected.backLinks &&
               (m_case.is("elsewhere")
                    ? std::ranges::all_of(std::views::values(expected.nodes), isThere)
                    : m_after.nodes == expected.nodes && m_after.members == expected.members &&
                          m_after.all == expected.all);
    }

    /// Whether nobody misses it after a power cut: flags, and that a temporary file is gone.
    static bool isPassing(const FileCall& call) {
        return call.path.find(".dflgzentor") != std::string::npos ||
               call.path.find(".infozentor") != std::string::npos ||
               (call.name.starts_with("unlink") &&
                call.path.find("/.bagtmp-") != std::string::npos);
    }

    [[nodiscard]] bool isFlushed() const {
        std::set<std::string> dirty;
        for (const FileCall& call : m_run.calls) {
            if (call.is(names) && call.path.rfind(m_case.mark, 0) == 0) {
                break;
            }
            if (call.name == "syncfs") {
                dirty.clear();
            } else if (call.is(flushes)) {
                dirty.erase(call.path);
            } else if (call.is(changes) && !isPassing(call) && !m_case.place.empty() &&
                       call.path.rfind(m_case.place, 0) == 0) {
                dirty.insert(call.is(writes)
                                 ? call.path
                                 : std::filesystem::path(call.path).parent_path().native());
            }
        }
        // Temporary files have other names now, and flags are not for long.
        return std::ranges::none_of(dirty,
                                    [&](auto& path) { return m_after.all.count(path) != 0; });
    }

    void judgeFailure() {
        const bool wasKilled = m_fault.kind == Fault::Kind::kill;
        if (m_run.code < 0) {
            blame("does not end");
        } else if (m_run.code <= 1) {
            blame("wrong answer");
        } else if (!wasKilled && m_run.code > greatestCode) {
            blame("ends with code " + std::to_string(m_run.code));
        } else if (!wasKilled && m_run.err.empty()) {
            blame("failure without a word");
        }
    }

    /// Each is somewhere as it was, or as the command was to make it. A copy gets the mark last:
    /// until then it is whole, and says that it is incomplete.
    void judgeNode(const std::string& directory, const FoundNode& was) {
        const Survey& meant = m_undisturbed.after;
        bool isFound = std::ranges::none_of(std::views::values(meant.nodes), [&](auto& node) {
            return node.identity == was.identity;
        });
        const bool isDeleted = isFound;
        for (const auto& [place, node] : m_after.nodes) {
            if (node.identity != was.identity) {
                continue;
            }
            const auto isNow = [&, &node = node, isElsewhere = place != directory](auto& wanted) {
                return wanted.section == node.section && wanted.files == node.files &&
                       (wanted.isFinalized == node.isFinalized ||
                        (isElsewhere && !node.isFinalized));
            };
            const auto made = meant.nodes.find(place);
            if (isNow(was) || (made != meant.nodes.end() && isNow(made->second))) {
                isFound = true;
            } else if (place != directory) {
                blame("only a part, but looks like a node: " + place);
            }
        }
        const auto isMember = [&](const Survey& survey) {
            return std::ranges::count(std::views::values(survey.members), was.identity) != 0;
        };
        if (!isFound) {
            blame("lost: " + directory);
        } else if (isMember(m_before) && !isMember(m_after) && !isDeleted &&
                   !m_case.is("unlinks")) {
            blame("no longer a member: " + directory);
        }
    }

    /// What was done by halves is found, and nothing is that is whole. Flags and temporary files
    /// may stay where files cannot be deleted.
    void judgeCheck() {
        const Survey& meant = m_undisturbed.after;
        for (const std::string& finding : m_after.findings) {
            if (m_isDone && meant.findings.count(finding) == 0 && !m_case.is("elsewhere") &&
                !finding.starts_with("stale-flag ") && !finding.starts_with("temporary-file ")) {
                blame("check finds what is whole: " + finding);
            }
        }
        const auto isAs = [&](const Survey& survey) {
            return m_after.all == survey.all && m_after.temporaries.empty() &&
                   m_after.nodes == survey.nodes;
        };
        // While calls go on failing, it may not be possible to leave word.
        const bool isLasting = m_fault.kind == Fault::Kind::lasting;
        if (!m_isDone && !isLasting && m_after.findings == m_before.findings && !isAs(m_before) &&
            !isAs(meant) && !m_case.is("elsewhere")) {
            blame("check finds nothing, but this is neither as before nor done");
        }
    }

    /// One failure leaves the means to clear up, and so does a full disk.
    void judgeLeavings() {
        const bool isOnce = m_fault.kind == Fault::Kind::once;
        if (!isOnce && (m_fault.kind != Fault::Kind::lasting || m_fault.error != ENOSPC)) {
            return;
        }
        for (const std::string& name : m_after.temporaries) {
            // A node that has lost a part tells of it, as long as it is there.
            const std::string node = std::filesystem::path(name).parent_path();
            if (!m_isDone && name.ends_with(basekit2::removal_suffix) &&
                m_after.findings.count("half-removed " + node) != 0) {
                continue;
            }
            blame("temporary file left: " + name);
        }
        for (const auto& made : std::views::keys(m_undisturbed.after.nodes)) {
            const auto node = m_after.nodes.find(made);
            if (m_isDone || m_before.nodes.count(made) != 0 || m_after.all.count(made) == 0) {
                continue;
            }
            if (node == m_after.nodes.end() && !m_case.is("repairable")) {
                blame("left after failure: " + made);
            } else if (node != m_after.nodes.end() && node->second.identity.empty() &&
                       node->second.isFinalized && isOnce) {
                blame("finalized in spite of a failure: " + made);
            }
        }
    }
};

}  // namespace

std::vector<std::string> judge(const Case& each, const Survey& before, const Outcome& undisturbed,
                               const Outcome& now, const Fault& fault) {
    return Judge{each, before, undisturbed, fault, now.run, now.after}.judge();
}

}  // namespace torture
