#include "commands/arguments.h"

namespace cli {

void nodeArgument(Options& options, std::string& node) {
    options.argument({"NODE", Stands::node}, node,
                     "a name as list shows it, a path, or a pattern for the newest");
}

void resultArgument(Options& options, std::string& result) {
    options.argument({"NODE", Stands::node}, result, "a result, or a pattern");
}

void whereOption(Options& options, std::vector<std::string>& expressions) {
    options.option("--where", {"EXPR", Stands::expression}, expressions,
                   "only what this holds for, such as 'state=finalized and elapsed>2s'");
}

void selectorArguments(Options& options, Selector& selector, const char* help) {
    options.arguments({"NODE", Stands::node}, selector.nodes, help, false);
    whereOption(options, selector.where);
}

void copyArguments(Options& options, CopyRequest& request, const char* destinationHelp) {
    options.argument({"NODE", Stands::node}, request.node,
                     "a name as list shows it, a path, a pattern or a glob");
    options.argument({"DEST", Stands::directory}, request.destination, destinationHelp);
    whereOption(options, request.where);
}

void intoOption(Options& options, std::string& group) {
    options.option("--into", {"GROUP", Stands::group}, group,
                   "the group to make it in; else the working directory");
}

void variableOption(Options& options, std::vector<std::string>& definitions) {
    options.option("--var", "K=V", definitions, "define {K} for the name");
}

void literalFlag(Options& options, bool& literal) {
    options.flag("--literal", literal, "take '@' in the name as it stands");
}

void yesFlag(Options& options, bool& withoutQuestion) {
    options.flag("-y,--yes", withoutQuestion, "do not ask before anything is deleted");
}

void removalFlags(Options& options, RemovalChoice& choice) {
    yesFlag(options, choice.withoutQuestion);
    options.flag("--dry-run", choice.dryRun, "print what would be deleted, and delete nothing");
}

}  // namespace cli
