#include <algorithm>
#include <ctime>
#include <memory>

#include "base/failure.h"
#include "base/text.h"
#include "commands/arguments.h"
#include "nodes/contents.h"
#include "nodes/description.h"
#include "nodes/facts.h"
#include "nodes/filter.h"
#include "nodes/flags.h"
#include "nodes/members.h"
#include "nodes/node_argument.h"
#include "nodes/node_json.h"
#include "nodes/removal.h"
#include "nodes/retention.h"
#include "nodes/selection.h"
#include "nodes/tags.h"
#include "output/item_report.h"
#include "output/table.h"
#include "vesta2/result_directory_manager.h"

namespace cli {
namespace {

struct Arguments {
    std::string group;
    std::string mask;
    std::vector<std::string> where;
    int keep = -1;
    std::string within;
    int daily = -1;
    int weekly = -1;
    int monthly = -1;
    std::vector<std::string> tags;
    std::string maxSize;
    RemovalChoice choice;
};

std::optional<std::int64_t> quantity(const std::string& text, Measure measure, const char* option) {
    if (text.empty()) {
        return std::nullopt;
    }
    const auto range = readRange(measure, text);
    // Of a plain number it is not told whether days or seconds are meant.
    const bool isPlain = text.find_first_not_of("0123456789.") == text.npos;
    const bool isVague = isPlain && measure == Measure::duration;
    if (!range || range->first < 0 || isVague) {
        throw Failure(
            exitUsage, {},
            option + (" " + shellQuote(text)) +
                (isVague ? " has no unit" : std::string(" is not ") + descriptionOf(measure)),
            "write it as in " + std::string(option) + (measure == Measure::size ? " 10G" : " 7d"));
    }
    return range->first;
}

Retention retentionFor(const Arguments& arguments) {
    const auto count = [](int number) { return number < 0 ? std::nullopt : std::optional(number); };
    return {count(arguments.keep),
            quantity(arguments.within, Measure::duration, "--keep-within"),
            count(arguments.daily),
            count(arguments.weekly),
            count(arguments.monthly),
            arguments.tags,
            quantity(arguments.maxSize, Measure::size, "--max-size")};
}

/// Why a result is kept whatever the rules say; empty for most.
std::string exemptionOf(vesta2::INode& node, const Description& description, bool& isUnknown) {
    isUnknown = description.damage.has_value();
    if (description.damage || description.state == "missing") {
        return description.state + ": " +
               (description.damage ? description.damage->problem() : "its link leads nowhere");
    }
    if (description.kind != "result") {
        return "no result";
    }
    if (isPresent(valueOf(node, description, "pinned"))) {
        return "pinned";
    }
    try {
        requireUnclaimed(node);
    } catch (const Failure& failure) {
        isUnknown = failure.code() != exitLocked;
        return failure.problem();
    }
    return {};
}

void noteUnusedTags(const std::vector<Candidate>& candidates, const std::vector<std::string>& tags,
                    const Session& session) {
    for (const std::string& tag : tags) {
        const auto hasIt = [&](const Candidate& each) {
            return std::ranges::count(each.tags, tag);
        };
        if (std::ranges::none_of(candidates, hasIt)) {
            session.note("no result has the tag " + shellQuote(escapeText(tag)));
        }
    }
}

/// The results that the rules are for.
std::vector<Candidate> candidatesIn(vesta2::INodeGroup& group, const Arguments& arguments,
                                    bool needsSize, const Session& session) {
    const std::string mask = arguments.mask.empty()
                                 ? vesta2::ResultDirectoryManager::getDefaultResultDirectoryName()
                                 : arguments.mask;
    Filter filter(arguments.where);
    std::vector<Candidate> candidates;
    for (const Member& member : matching(membersOf(group.getPath()), mask)) {
        const auto node = openMember(member.marker);
        if (!node) {
            continue;
        }
        const Description description = describe(node);
        const std::optional<bool> isMeant = filter.selects(*node, description);
        if (isMeant == false) {
            continue;
        }
        Candidate candidate;
        candidate.marker = member.marker;
        candidate.name = member.name;
        candidate.time = description.time;
        candidate.exemption = exemptionOf(*node, description, candidate.isUnknown);
        if (!isMeant && candidate.exemption.empty()) {
            candidate.exemption = "it cannot be told whether --where holds for it";
            candidate.isUnknown = true;
        }
        candidate.tags = description.damage ? candidate.tags : tagsOf(*node);
        candidate.isInvalid = description.state == "invalid";
        if (needsSize && description.state != "missing") {
            candidate.size = static_cast<std::int64_t>(contentsOf(description.path).bytes);
        }
        candidates.push_back(std::move(candidate));
    }
    filter.requireUsedKeys();
    noteUnusedTags(candidates, arguments.tags, session);
    return candidates;
}

/// Deletes what is not kept, and tells of each what became of it, and why.
class Purge {
public:
    Purge(const RemovalChoice& choice, Session& session)
        : m_choice(choice),
          m_session(session),
          m_report(session, "nodes", {{"dryRun", choice.dryRun}}),
          m_table(session.out, {{"ACTION", Column::Align::left, Column::Cut::never},
                                {"NAME", Column::Align::left, Column::Cut::name},
                                {"REASON"}}) {}

    void handle(Candidate& candidate) {
        const bool needsNode = m_session.json || (!candidate.isKept && !m_choice.dryRun);
        const auto node = needsNode ? openMember(candidate.marker) : nullptr;
        if (needsNode && !node) {
            return;
        }
        Json item = m_session.json ? nodeJson(node) : Json();
        if (!candidate.isKept && !m_choice.dryRun) {
            remove(candidate, node);
        }
        const char* const action = candidate.isKept ? "keep" : "delete";
        if (m_session.json) {
            item["action"] = action;
            item["reason"] = jsonText(candidate.reason);
            m_report.add({}, [&] { return std::move(item); });
        } else {
            m_table.add(
                {{action, candidate.isKept ? "" : "31"}, {candidate.name}, {candidate.reason}});
        }
    }

    int finish() {
        m_table.finish();
        return m_report.finish();
    }

private:
    /// One that was claimed or pinned meanwhile does not stop the rest.
    static void remove(Candidate& candidate, const basekit2::sptr_t<vesta2::INode>& node) {
        try {
            candidate.exemption = exemptionOf(*node, describe(node), candidate.isUnknown);
            if (candidate.exemption.empty()) {
                removeNode(node);
            }
        } catch (const Failure& failure) {
            if (failure.code() != exitLocked) {
                throw;
            }
            candidate.exemption = failure.problem();
        }
        if (!candidate.exemption.empty()) {
            candidate.isKept = true;
            candidate.reason = candidate.exemption;
        }
    }

    const RemovalChoice& m_choice;
    Session& m_session;
    ItemReport m_report;
    Table m_table;
};

int run(const Arguments& arguments, Session& session) {
    requireMask(arguments.mask);
    const auto group = namedGroup(arguments.group);
    if (vesta2::IResultDirectory::probe(group->getPath())) {
        throw Failure(exitUsage, group->getPath(), "is a result, and no group",
                      "name the group that it is in");
    }
    const Retention retention = retentionFor(arguments);
    if (retention.isEmpty()) {
        throw Failure(exitUsage, group->getPath(), "what to keep is missing",
                      "give a rule such as --keep N, and --dry-run to see what would go");
    }
    if (arguments.keep == 0 && arguments.mask.empty() && arguments.where.empty()) {
        throw Failure(exitUsage, group->getPath(), "this would delete all of it",
                      "say which with --mask or --where, such as --mask 'r@@@'");
    }
    std::vector<Candidate> candidates =
        candidatesIn(*group, arguments, retention.greatestSize.has_value(), session);
    judge(candidates, retention, std::time(nullptr));
    std::vector<Member> doomed;
    for (const Candidate& candidate : candidates) {
        if (!candidate.isKept) {
            doomed.push_back({candidate.marker, candidate.name});
        }
    }
    if (!mayDelete(doomed, arguments.choice, session)) {
        return exitNegative;
    }
    Purge purge(arguments.choice, session);
    for (Candidate& candidate : candidates) {
        purge.handle(candidate);
    }
    const int code = purge.finish();
    const auto unknown = std::ranges::count(candidates, true, &Candidate::isUnknown);
    if (unknown > 0) {
        throw Failure(exitFailure, group->getPath(),
                      std::to_string(unknown) + " could not be looked at, and were kept",
                      seeCommand("check", group->getPath()));
    }
    return code;
}

}  // namespace

Action purge(Options& options) {
    constexpr int most = 1000000000;
    auto arguments = std::make_shared<Arguments>();
    options.argument({"GROUP", Stands::group}, arguments->group,
                     "a project, an experiment or a directory");
    options.option("--keep", "N", arguments->keep, 0, most, "keep the last N");
    options.option("--keep-within", "TIME", arguments->within, "keep what is younger, such as 7d");
    options.option("--keep-daily", "N", arguments->daily, 1, most,
                   "keep the newest of each of the last N days that have one");
    options.option("--keep-weekly", "N", arguments->weekly, 1, most, "and of weeks");
    options.option("--keep-monthly", "N", arguments->monthly, 1, most, "and of months");
    options.option("--keep-tag", {"TAG", Stands::tag}, arguments->tags, "keep what has this tag");
    options.option("--max-size", "SIZE", arguments->maxSize,
                   "of what the rules keep, or all, no more than this, such as 10G");
    options.option("--mask", "M", arguments->mask, "of what matches this; else of 'r@@@'");
    whereOption(options, arguments->where);
    removalFlags(options, arguments->choice);
    return makeAction(arguments, run);
}

}  // namespace cli
