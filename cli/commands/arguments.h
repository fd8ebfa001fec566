#pragma once
/// The arguments and options that several commands take, each declared in one place. Targets must
/// live as long as the action.

#include <memory>
#include <string>
#include <vector>

#include "nodes/copying.h"
#include "nodes/removal.h"
#include "nodes/selection.h"
#include "options/options.h"

namespace cli {

/// NODE: any node.
void nodeArgument(Options& options, std::string& node);
/// NODE: a result.
void resultArgument(Options& options, std::string& result);
/// "--where": expressions that must hold.
void whereOption(Options& options, std::vector<std::string>& expressions);
/// NODE... and "--where".
void selectorArguments(Options& options, Selector& selector, const char* help);
/// NODE, DEST and "--where".
void copyArguments(Options& options, CopyRequest& request, const char* destinationHelp);
/// "--into": the group of a new node.
void intoOption(Options& options, std::string& group);
/// "--var": variables for a name.
void variableOption(Options& options, std::vector<std::string>& definitions);
/// "--literal": a name is no pattern.
void literalFlag(Options& options, bool& literal);
/// "-y".
void yesFlag(Options& options, bool& withoutQuestion);
/// "-y" and "--dry-run".
void removalFlags(Options& options, RemovalChoice& choice);

/// The action that calls `run` with what was parsed into `arguments`.
template <class Arguments>
Action makeAction(const std::shared_ptr<Arguments>& arguments,
                  int (&run)(const Arguments& arguments, Session& session)) {
    return [arguments, &run](Session& session) { return run(*arguments, session); };
}

}  // namespace cli
