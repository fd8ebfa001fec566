// "check": what is damaged in a group, and what can be mended.

#include <memory>
#include <nlohmann/json.hpp>

#include "base/failure.h"
#include "base/text.h"
#include "check/inspection.h"
#include "commands/arguments.h"
#include "nodes/node_argument.h"
#include "output/json.h"
#include "output/table.h"

namespace cli {
namespace {

struct Arguments {
    std::string group = ".";
    bool repair = false;
};

/// What became of a finding.
struct Outcome {
    const char* word = "found";
    std::string reason;  ///< why it was not repaired
};

Outcome repair(const Finding& finding) {
    if (!finding.repair) {
        return {"left", {}};
    }
    try {
        finding.repair();
        return {"repaired", {}};
    } catch (const Failure& failure) {
        return {"left", failure.line()};
    }
}

Json toJson(const Finding& finding, const Outcome& outcome) {
    Json object = {{"finding", finding.kind},
                   {"path", jsonText(finding.path)},
                   {"problem", jsonText(finding.problem)},
                   {"remedy", jsonText(finding.remedy)},
                   {"repairable", finding.repair != nullptr},
                   {"harmless", finding.isHarmless},
                   {"outcome", outcome.word}};
    object["reason"] = jsonTextOrNull(outcome.reason);
    return object;
}

/// People get two lines; scripts a row.
void print(Output& out, const Finding& finding, const Outcome& outcome) {
    if (!out.isTerminal()) {
        Table row(out, {{"OUTCOME"}, {"FINDING"}, {"PATH"}, {"PROBLEM"}, {"REMEDY"}});
        row.add(
            {{outcome.word}, {finding.kind}, {finding.path}, {finding.problem}, {finding.remedy}});
        return;
    }
    const bool isRepaired = std::string_view(outcome.word) == "repaired";
    const bool isMendable = finding.repair && std::string_view(outcome.word) == "found";
    out.write(out.styled(finding.kind, isRepaired ? "" : "31") + "  ");
    out.writeText(finding.path);
    out.writeText("  " + finding.problem + "; " +
                  (isRepaired   ? std::string("repaired")
                   : isMendable ? finding.remedy + ", or let --repair do it"
                                : finding.remedy));
}

std::string count(std::size_t number, const std::string& word) {
    return std::to_string(number) + " " + word + (number == 1 ? "" : "s");
}

int run(const Arguments& arguments, Session& session) {
    const Inspection inspection(requirePath(arguments.group));
    if (!arguments.repair) {
        session.page();
    }
    std::size_t left = 0;
    std::size_t shown = 0;
    Json items = Json::array();
    for (const Finding& finding : inspection.findings()) {
        const Outcome outcome = arguments.repair ? repair(finding) : Outcome();
        const bool isLeft = !finding.isHarmless && std::string_view(outcome.word) != "repaired";
        left += isLeft ? 1 : 0;
        if (session.json) {
            items.push_back(toJson(finding, outcome));
            continue;
        }
        if (finding.isHarmless && !session.verbose) {
            continue;
        }
        ++shown;
        print(session.out, finding, outcome);
        if (!outcome.reason.empty()) {
            session.note("left: " + outcome.reason);
        }
    }
    if (session.json) {
        session.out.writeJson(
            {{"nodeCount", inspection.nodeCount()}, {"findings", std::move(items)}});
    } else {
        session.out.flush();  // the sum stands below
        session.note(count(inspection.nodeCount(), "node") + ", " + count(shown, "finding") +
                     (arguments.repair ? ", " + std::to_string(left) + " left" : ""));
    }
    return left == 0 ? exitOk : exitNegative;
}

}  // namespace

Action check(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    options.optionalArgument({"GROUP", Stands::node}, arguments->group,
                             "a node or a directory; else the working directory");
    options.flag("--repair", arguments->repair, "mend what can be mended without losing anything");
    return makeAction(arguments, run);
}

}  // namespace cli
