#pragma once
/// What is tortured: the commands, and what their success means.

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

using Words = std::vector<std::string>;

struct Case {
    std::string name;
    Words arguments;
    /// What must hold when the command says that it has done its work, and what it may do: each is
    /// a word that `isKept` knows, and what it is about.
    std::vector<Words> expectations;

    /// What the expectation `word` is about; nothing when there is none.
    [[nodiscard]] Words about(const std::string& word) const;
    [[nodiscard]] bool says(const std::string& word, const std::string& what = {}) const;
};

const std::vector<Case>& cases();

/// Whether what the command promises has come true; what it may do is no promise.
bool isKept(const Words& promise, const Scene& scene);

/// Makes the sample in the empty directory `root`: a project "p" with results, an experiment, and a
/// result that is stored elsewhere.
void makeSample(const std::string& root);

/// Whatever the command was and however it ended: what is wrong now, a line each. Lists the nodes,
/// as the next user would.
std::vector<std::string> judge(const Case& each, const Scene& scene, const Fault& fault);

}  // namespace torture
