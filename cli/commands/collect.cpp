#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>

#include "base/failure.h"
#include "base/text.h"
#include "collector/made_directory.h"
#include "collector/recording.h"
#include "collector/result_file.h"
#include "collector/run_program.h"
#include "collector/sampler.h"
#include "collector/spawn.h"
#include "collector/surroundings.h"
#include "collector/work_tree.h"
#include "commands/arguments.h"
#include "nodes/description.h"
#include "nodes/flags.h"
#include "nodes/new_result.h"
#include "nodes/node_json.h"
#include "nodes/properties.h"
#include "nodes/tags.h"
#include "nodes/variables.h"
#include "vesta2/names.h"
#include "vesta2/result_directory_manager.h"

namespace cli {
namespace {

struct Arguments {
    NewResult wanted{vesta2::ResultDirectoryManager::getDefaultResultDirectoryName()};
    std::vector<std::string> variables;
    bool capture = false;
    int interval = 100;
    std::vector<std::string> environment;
    std::vector<std::string> tags;
    std::string note;
    std::string resultFile;
    std::vector<std::string> program;
};

constexpr int greatestInterval = 3600 * 1000;

/// Claims the result for as long as it is collected.
void claimNewResult(vesta2::IResultDirectory& result) {
    const vesta2::error_t status = result.addFlag(flags::collecting, false);
    if (status == vesta2::eFileLocked) {
        throw Failure(exitLocked, result.getPath(), "another process has claimed the new result",
                      "try again");
    }
    if (status != vesta2::eOK) {
        throw Failure::fromWriting(status, result.getPath(), result.getPath());
    }
}

/// The error for a failed collection. Marking the result invalid may have moved it from
/// `directory`, so paths are changed to where it is now.
Failure collectionFailure(const Failure& cause, const std::string& directory,
                          const basekit2::sptr_t<vesta2::IResultDirectory>& result) {
    const std::string now = result->getPath();
    std::string path = cause.path();
    if (path.rfind(directory + "/", 0) == 0 || path == directory) {
        path.replace(0, directory.size(), now);
    }
    const std::string remedy = cause.remedy().empty() ? "" : cause.remedy() + "; ";
    // The open object reports the mark even when it could not be made; what cannot be looked at has
    // none for others either.
    std::error_code unknown;
    const bool isInvalid = std::filesystem::exists(now + "/" + vesta2::mark::invalid, unknown);
    // Any other code could be the program's.
    const int code = cause.code() >= exitNotExecutable ? cause.code() : int{exitFailure};
    return {code, path, cause.problem(),
            remedy + "the result " + now + (isInvalid ? " is invalid" : " is incomplete")};
}

RunOutcome record(const Arguments& arguments, vesta2::IResultDirectory& result,
                  const MadeDirectory& directory, Recording& recording, Signals& signals) {
    recording.begin();
    const Report report = [&](const std::string& line) { recording.log(line); };
    putProgram(result, arguments.program.front(), report);
    putEnvironment(result, arguments.environment, report);
    putLimits(result);
    setTags(result, arguments.tags);
    if (!arguments.note.empty()) {
        putProperty(result, key::note, arguments.note);
    }
    recording.save();
    std::optional<RecordFile> output;
    if (arguments.capture) {
        output.emplace(directory.descriptor(), directory.path(),
                       std::filesystem::path(result.getApplicationLog()).filename().native());
    }
    RecordFile samples(directory.descriptor(), directory.path(),
                       directory.makeDataDirectory() + "/" + samplesFileName);
    WorkTree workTree(signals);
    const RunRequest request{
        arguments.program,           samples,  std::chrono::milliseconds(arguments.interval),
        output ? &*output : nullptr, workTree, report};
    const RunOutcome outcome = runProgram(request, signals);
    if (outcome.startError != 0) {
        throw startFailure(arguments.program.front(), outcome.startError);
    }
    workTree.finish(result, report);
    // Saved before a failed write is raised.
    recording.end(outcome);
    samples.settle();
    if (output) {
        output->settle();
    }
    recording.finish();
    return outcome;
}

/// One line.
std::string asJson(const basekit2::sptr_t<vesta2::IResultDirectory>& result) {
    return withSchema({{"node", nodeJson(result)}}).dump(-1, ' ', true);
}

void writeResultFile(const ResultFile& file,
                     const basekit2::sptr_t<vesta2::IResultDirectory>& result) {
    try {
        file.write(asJson(result) + "\n");
    } catch (const std::exception&) {
        const Failure cause = Failure::current();
        throw Failure(exitFailure, cause.path(),
                      "the result file could not be written: " + cause.problem(),
                      std::string("the result ") + result->getPath() + " is whole");
    }
}

void announce(const Session& session, const basekit2::sptr_t<vesta2::IResultDirectory>& result,
              const RunOutcome& outcome) {
    if (session.json) {
        // The standard output stream is the program's.
        writeRawMessage(asJson(result));
        return;
    }
    const std::string end = outcome.wasKilled
                                ? fmt::format("killed by SIG{}", ::sigabbrev_np(outcome.code))
                                : fmt::format("exit code {}", outcome.code);
    session.note(fmt::format("result {} ({}, {:.3f} s)", escapeText(result->getPath()), end,
                             std::chrono::duration<double>(outcome.elapsed).count()));
}

int run(const Arguments& arguments, Session& session) {
    std::optional<ResultFile> file;
    if (!arguments.resultFile.empty()) {
        file.emplace(arguments.resultFile);
    }
    // From here on a signal cannot leave half a result.
    Signals signals;
    std::for_each(arguments.tags.begin(), arguments.tags.end(), requireTag);
    const auto result = createNewResult(
        arguments.wanted, nameVariables(arguments.variables, arguments.program.front()));
    std::optional<Recording> recording;
    const MadeDirectory directory(result);
    RunOutcome outcome;
    try {
        claimNewResult(*result);
        directory.require();
        // A marker file that cannot be read must not be overwritten.
        requireReadable(result);
        recording.emplace(result, directory, arguments.program);
        outcome = record(arguments, *result, directory, *recording, signals);
    } catch (const std::exception&) {
        const Failure cause = Failure::current();
        // Goes before what came of it.
        directory.require();
        if (cause.code() == exitLocked) {
            throw;
        }
        if (recording) {
            recording->giveUp(cause.problem());
        } else {
            result->setInvalid();
        }
        throw collectionFailure(cause, directory.path(), result);
    }
    result->removeFlag(flags::collecting, false);
    announce(session, result, outcome);
    if (file) {
        writeResultFile(*file, result);
    }
    if (outcome.outputError != 0) {
        throw lostOutput(outcome.outputError);
    }
    return outcome.wasKilled ? killedBase + outcome.code : outcome.code;
}

}  // namespace

Action collect(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    options.option("--name", "PATTERN", arguments->wanted.name, "name of the result; else 'r@@@'");
    intoOption(options, arguments->wanted.group);
    variableOption(options, arguments->variables);
    options.flag("--capture", arguments->capture, "also save the program's output");
    options.option("--interval", "MS", arguments->interval, 1, greatestInterval,
                   "milliseconds between samples; else 100");
    options.option("--env", {"NAME", Stands::environment}, arguments->environment,
                   "also keep this variable of the environment; may be a glob");
    options.option("--tag", {"T", Stands::tag}, arguments->tags, "a word to sort by");
    options.option("--note", "TEXT", arguments->note, "a text about the run");
    options.option("--result-file", {"F", Stands::file}, arguments->resultFile,
                   "write what --json tells of the result to this file");
    options.program(arguments->program);
    return makeAction(arguments, run);
}

}  // namespace cli
