#pragma once
/// What is tortured: the commands, and what their success means.

#include <functional>
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

    [[nodiscard]] bool isGone(const std::string& path) const { return after.all.count(path) == 0; }
    /// The node that was in `from` is in `to`, with all its properties and files.
    [[nodiscard]] bool isWhole(const std::string& from, const std::string& to) const;
    /// The project leads to the node in `directory`, which is stored elsewhere.
    [[nodiscard]] bool isLinked(const std::string& directory) const;
};

struct Case {
    std::string name;
    std::vector<std::string> arguments;
    /// What must hold when the command says that it has done its work.
    std::function<bool(const Scene&)> promise;
    /// Where it makes something that must not be there after a failure.
    std::string made{};
    /// The library keeps a new directory whose marker file cannot be written: `get` repairs it.
    bool mayLeaveDirectory = false;
    /// Names of the files that are left out there.
    std::string leavesOut{};
    /// Nodes whose places, names, marks and links it changes, and those that it deletes.
    std::set<std::string> subjects{};
    std::set<std::string> deleted{};
    /// Done to the sample first.
    std::function<void(const std::string& root)> prepare{};
};

const std::vector<Case>& cases();

/// Makes the sample in the empty directory `root`: a project "p" with results, an experiment, and a
/// result that is stored elsewhere.
void makeSample(const std::string& root);

}  // namespace torture
