#pragma once
/// What is tortured, and what must hold afterwards.

#include <string>
#include <vector>

#include "survey.h"
#include "traced_run.h"

namespace torture {

struct Case {
    std::string command;
    /// What sets it apart: "partly" prints that it could not read a part, "elsewhere" makes up in
    /// another place for what fails, and "unflushed" for what could not be flushed, "repairable"
    /// may leave a directory that `get` repairs, "others" leaves alone what it may not look into.
    std::string remarks{};
    /// All that is made and written below `place` is on the disk when the first file at `mark` is
    /// made or deleted.
    std::string place{};
    std::string mark{};

    [[nodiscard]] bool is(const char* remark) const {
        return remarks.find(remark) != std::string::npos;
    }
};

/// A run of the command, and what it left.
struct Outcome {
    TracedRun run;
    Survey after;
};

const std::vector<Case>& cases();

/// With the times of everything: what was changed just now is looked at with other eyes. What was
/// at the new place is deleted.
void copyTree(const std::string& from, const std::string& to);

/// Makes the sample in the empty directory `root`: a project "p" with results, an experiment, and a
/// result that is stored elsewhere.
void makeSample(const std::string& root);

/// However the command ended, `now`, on what was there `before`: what is wrong, a line each.
std::vector<std::string> judge(const Case& each, const Survey& before, const Outcome& undisturbed,
                               const Outcome& now, const Fault& fault);

}  // namespace torture
