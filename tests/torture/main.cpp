/// Runs trials, each in a process of its own, and prints what they counted.

#include <CLI/CLI.hpp>
#include <cstdlib>

#include "broken_calls.h"
#include "cases.h"
#include "trial.h"

namespace torture {

using Work = void(Run& run);
Work runCommandKilled, runCommandWithFaults, killSavers, failAllocations, claim, number,
    moveLinkedNodes, cutPower, exchangeDirectories, replaceFiles, repeatOperations;

namespace {

struct Trial {
    const char* name;
    const char* broken;  ///< the calls by which its promise is broken; see broken_calls.h
    Work* run;
};
const Trial trials[] = {
    {"kills", "in-place", runCommandKilled}, {"faults", "unflushed", runCommandWithFaults},
    {"saves", "in-place", killSavers},       {"claims", "unlooked", claim},
    {"numbering", "taken", number},          {"links", "robbing", moveLinkedNodes},
    {"cuts", "unflushed", cutPower},         {"memory", "littering", failAllocations},
    {"leaks", "leaking", repeatOperations},  {"exchanges", "trusting", exchangeDirectories},
    {"places", "trusting", replaceFiles},
};

/// 0 when all went as it should: a trial with broken calls must find something wrong.
int attempt(const Trial& trial, const Options& options) {
    Report report;
    Run run{options, report};
    fmt::print("{}: seed {}\n", trial.name, options.seed);
    try {
        inProcesses(1, [&](std::size_t /*number*/) {
            brokenCalls = options.isBroken ? trial.broken : "";
            trial.run(run);
        });
    } catch (const Unavailable& reason) {
        fmt::print("{}: skipped: {}\n", trial.name, reason.what());
        return exitSkipped;
    } catch (const std::exception& error) {
        report.blame("{}: {}", trial.name, error.what());
    }
    const bool isRight = (report.wrong() > 0) == options.isBroken;
    const auto seconds = std::chrono::duration<double>(Clock::now() - run.begin).count();
    fmt::print("{}, {}: {}, {:.1f} s: {}\n", trial.name,
               options.isBroken ? trial.broken : "unbroken", report.text(), seconds,
               isRight ? "as it should be" : "WRONG");
    return isRight ? 0 : exitWrong;
}

std::string refuseUnknown(const std::string& word) {
    const auto isMeant = [&](const Case& each) { return each.command.starts_with(word); };
    return std::ranges::count(trials, word, &Trial::name) != 0 ||
                   std::ranges::any_of(cases(), isMeant)
               ? ""
               : word + " is neither a trial nor the beginning of a command";
}

}  // namespace
}  // namespace torture

int main(int argc, char** argv) {
    using namespace torture;
    ::setenv("TMPDIR", "/dev/shm", 0);  // in memory, where a flush costs nothing
    Options options;
    CLI::App app;
    app.add_option("TRIALS", options.words)->check(refuseUnknown);
    app.add_option("--at", options.places)->delimiter(':')->allow_extra_args(false);
    app.add_option("--creations", options.creations);
    app.add_option("--seconds", options.seconds)->take_last();
    app.add_option("--seed", options.seed);
    app.add_flag("--broken", options.isBroken);
    app.add_flag("--whole", options.isWhole);
    CLI11_PARSE(app, argc, argv);
    const auto isNamed = [&](const Trial& trial) {
        return std::ranges::count(options.words, trial.name) != 0;
    };
    const bool isSome = std::ranges::any_of(trials, isNamed);
    int code = 0;
    for (const Trial& trial : trials) {
        if (!isSome || isNamed(trial)) {
            code = std::max(code, attempt(trial, options));
        }
    }
    return code;
}
