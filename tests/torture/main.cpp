/// Runs trials, each in a process of its own, and prints what they counted.
/// Usage: torture [TRIAL...] [--whole] [--broken] [--seconds N] [--seed S] [--at DIR[:DIR]...]

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sstream>

#include "broken_calls.h"
#include "cases.h"
#include "trial.h"

namespace torture {

void runCommandKilled(Run& run);
void runCommandWithFaults(Run& run);
void killSavers(Run& run);
void failAllocations(Run& run);
void claim(Run& run);
void number(Run& run);
void moveLinkedNodes(Run& run);
void cutPower(Run& run);
void exchangeDirectories(Run& run);
void replaceFiles(Run& run);
void repeatOperations(Run& run);

const std::vector<Trial>& trials() {
    static const std::vector<Trial> all{
        {"kills", "in-place", runCommandKilled}, {"faults", "unflushed", runCommandWithFaults},
        {"saves", "in-place", killSavers},       {"claims", "unlooked", claim},
        {"numbering", "taken", number},          {"links", "robbing", moveLinkedNodes},
        {"cuts", "unflushed", cutPower},         {"memory", "littering", failAllocations},
        {"leaks", "leaking", repeatOperations},  {"exchanges", "trusting", exchangeDirectories},
        {"places", "trusting", replaceFiles},
    };
    return all;
}

namespace {

Options parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const auto value = [&] { return std::string(i + 1 < argc ? argv[++i] : ""); };
        if (word == "--seed") {
            options.seed = static_cast<unsigned>(std::stoul(value()));
        } else if (word == "--seconds") {
            options.seconds = std::stoul(value());
        } else if (word == "--creations") {
            options.creations = std::stol(value());
        } else if (word == "--at") {
            std::istringstream places(value());
            for (std::string place; std::getline(places, place, ':');) {
                options.places.push_back(place);
            }
        } else if (word == "--whole") {
            options.isWhole = true;
        } else if (word == "--broken") {
            options.isBroken = true;
        } else {
            options.words.push_back(word);
        }
    }
    return options;
}

/// 0 when all went as it should: a trial with broken calls must find something wrong.
int attempt(const Trial& trial, const Options& options) {
    Report report;
    Run run{options, report};
    std::cout << trial.name << ": seed " << options.seed << std::endl;
    const pid_t process = ::fork();
    if (process == 0) {
        int code = 0;
        try {
            brokenCalls = options.isBroken ? trial.broken : "";
            trial.run(run);
        } catch (const Unavailable& reason) {
            std::cout << trial.name << ": skipped: " << reason.what() << std::endl;
            code = exitSkipped;
        } catch (const std::exception& error) {
            report.blame(std::string(trial.name) + ": " + error.what());
        }
        ::_exit(code);
    }
    int status = 0;
    ::waitpid(process, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == exitSkipped) {
        return exitSkipped;
    }
    if (!WIFEXITED(status)) {
        report.blame(std::string(trial.name) + ": ended by a signal");
    }
    const auto seconds = std::chrono::duration<double>(Clock::now() - run.begin).count();
    std::cout << trial.name << (options.isBroken ? std::string(", ") + trial.broken : "") << ": "
              << report.text() << ", " << seconds << " s" << std::endl;
    return (report.wrong() > 0) == options.isBroken ? 0 : 1;
}

int main(const Options& options) {
    const auto isWanted = [&](const char* name) {
        return std::ranges::count(options.words, name) != 0;
    };
    const auto isNamed = [&](const Trial& trial) { return isWanted(trial.name); };
    for (const std::string& word : options.words) {
        const auto isMeant = [&](const Case& each) { return each.command.starts_with(word); };
        if (std::ranges::none_of(trials(), [&](auto& trial) { return trial.name == word; }) &&
            std::ranges::none_of(cases(), isMeant)) {
            std::cout << word << " is neither a trial nor the beginning of a command" << std::endl;
            return 2;
        }
    }
    const bool isSome = std::ranges::any_of(trials(), isNamed);
    int code = 0;
    for (const Trial& trial : trials()) {
        if (!isSome || isNamed(trial)) {
            code = std::max(code, attempt(trial, options));
        }
    }
    std::cout << (code == 0             ? "as it should be"
                  : code == exitSkipped ? "skipped"
                                        : "WRONG")
              << std::endl;
    return code;
}

}  // namespace
}  // namespace torture

int main(int argc, char** argv) {
    // In memory, where a flush costs nothing.
    ::setenv("TMPDIR", "/dev/shm", 0);
    return torture::main(torture::parse(argc, argv));
}
