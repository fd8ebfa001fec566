#pragma once
/// What is tortured: the commands, and what their success means.

#include <set>
#include <string>
#include <vector>

#include "survey.h"
#include "traced_run.h"

namespace torture {

/// What a run found and left.
struct Scene {
    const std::string& root;
    const Survey& before;
    const Survey& after;
    const TracedRun& run;
    const TracedRun& undisturbed;  ///< the same command without a fault
};

struct Case {
    using Words = std::vector<std::string>;

    std::string name;
    Words arguments;
    /// What must hold when the command says that it has done its work: each is a word that
    /// `isKept` knows, and what it is about.
    std::vector<Words> promises{};
    /// Where it makes something that must not be there after a failure.
    std::string made{};
    /// The library keeps a new directory whose marker file cannot be written: `get` repairs it.
    bool mayLeaveDirectory = false;
    /// What could not be flushed is made up for in another place.
    bool mayFallBack = false;
    /// Names of the files that are left out there.
    std::string leavesOut{};
    /// Nodes whose places, names, marks and links it changes, and those that it deletes.
    std::set<std::string> subjects{};
    std::set<std::string> deleted{};
    /// Renamed in the sample first.
    Words moved{};
};

const std::vector<Case>& cases();

/// Whether what the command promises has come true.
bool isKept(const Case::Words& promise, const Scene& scene);

/// Makes the sample in the empty directory `root`: a project "p" with results, an experiment, and a
/// result that is stored elsewhere.
void makeSample(const std::string& root);

/// Whatever the command was and however it ended: what is wrong now, a line each. Lists the nodes,
/// as the next user would.
std::vector<std::string> judge(const Case& each, const Scene& scene, const Fault& fault);

}  // namespace torture
