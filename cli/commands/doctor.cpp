// "doctor": what a file system does, and what is promised there.

#include <memory>
#include <nlohmann/json.hpp>

#include "base/failure.h"
#include "base/signals.h"
#include "commands/arguments.h"
#include "doctor/trials.h"
#include "nodes/node_argument.h"
#include "output/table.h"

namespace cli {
namespace {

struct Arguments {
    std::string directory = ".";
};

const char* wordOf(Trial::Outcome outcome) {
    return outcome == Trial::Outcome::yes  ? "yes"
           : outcome == Trial::Outcome::no ? "no"
                                           : "unknown";
}

const char* styleOf(const Trial& trial) {
    return trial.outcome == Trial::Outcome::yes ? "32" : trial.isNeeded ? "31" : "33";
}

int run(const Arguments& arguments, Session& session) {
    const std::string directory = requirePath(arguments.directory);
    const std::string fileSystem = fileSystemOf(directory);
    // A signal must not leave what the trials make.
    Signals signals;
    const std::vector<Trial> trials = tryOut(directory);
    if (signals.wantsEnd()) {
        throw Failure(exitCancelled, directory, "cancelled", "nothing was left behind");
    }
    bool isFit = true;
    Json items = Json::array();
    Table table(session.out, {{"TRIAL", Column::Align::left, Column::Cut::never},
                              {"DOES", Column::Align::left, Column::Cut::never},
                              {"WHAT IT MEANS"},
                              {"SEEN"}});
    for (const Trial& trial : trials) {
        isFit = isFit && (!trial.isNeeded || trial.outcome == Trial::Outcome::yes);
        const char* const word = wordOf(trial.outcome);
        if (session.json) {
            items.push_back({{"trial", trial.name},
                             {"does", word},
                             {"needed", trial.isNeeded},
                             {"seen", trial.detail},
                             {"meaning", trial.meaning}});
        } else {
            table.add({{trial.name}, {word, styleOf(trial)}, {trial.meaning}, {trial.detail}});
        }
    }
    if (session.json) {
        session.out.writeJson({{"directory", jsonText(directory)},
                               {"fileSystem", fileSystem},
                               {"fit", isFit},
                               {"trials", std::move(items)}});
    } else {
        table.finish();
        session.note(fileSystem + (isFit ? ": all that is promised holds here, as far as two "
                                           "processes of this host can tell"
                                         : ": not all that is promised holds here"));
    }
    return isFit ? exitOk : exitNegative;
}

}  // namespace

Action doctor(Options& options) {
    auto arguments = std::make_shared<Arguments>();
    options.optionalArgument({"DIR", Stands::directory}, arguments->directory,
                             "a directory; else the working directory");
    return makeAction(arguments, run);
}

}  // namespace cli
