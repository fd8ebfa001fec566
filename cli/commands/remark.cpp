// What people say of results: "tag", "note", "pin" and "unpin".

#include <algorithm>
#include <memory>

#include "base/failure.h"
#include "base/text.h"
#include "commands/arguments.h"
#include "nodes/change.h"
#include "nodes/properties.h"
#include "nodes/tags.h"

namespace cli {
namespace {

struct TagArguments {
    Selector selector;  ///< and what to change, in front of which is "+" or "-"
};

struct TagChange {
    std::vector<std::string> added;
    std::vector<std::string> removed;
};

/// Takes the words that begin with a sign out of `words`.
TagChange takeTags(std::vector<std::string>& words) {
    TagChange change;
    std::erase_if(words, [&](const std::string& word) {
        const bool isTag = word.size() > 1 && (word.front() == '+' || word.front() == '-');
        if (isTag) {
            (word.front() == '+' ? change.added : change.removed).push_back(word.substr(1));
        }
        return isTag;
    });
    std::ranges::for_each(change.added, requireTag);
    std::ranges::for_each(change.removed, requireTag);
    return change;
}

int runTag(const TagArguments& arguments, Session& session) {
    Selector selector = arguments.selector;
    const TagChange tags = takeTags(selector.nodes);
    if (tags.added.empty() && tags.removed.empty()) {
        throw Failure(exitUsage, {}, "which tags are meant is missing",
                      "write +TAG to add one and -TAG to remove one, as in 'vesta2 tag r000 +O3'");
    }
    const auto change = [&](vesta2::INode& node) {
        std::vector<std::string> all = tagsOf(node);
        std::erase_if(all, [&](const std::string& tag) {
            return std::ranges::count(tags.removed, tag) != 0;
        });
        all.insert(all.end(), tags.added.begin(), tags.added.end());
        setTags(node, std::move(all));
    };
    return changeNodes(selectMembers(selector, session), change, session);
}

/// Puts a text, or removes the property when it is empty.
int putText(const Selector& selector, const char* key, const std::string& text, Session& session) {
    const auto change = [&](vesta2::INode& node) {
        const auto value = text.empty() ? basekit2::variant_t() : basekit2::variant_t(text);
        if (!putProperty(node, key, value)) {
            throw Failure(exitFailure, node.getPath(),
                          shellQuote(std::string(key)) + " cannot be put: 'user' is a property",
                          "remove that with 'vesta2 set NODE --unset user'");
        }
    };
    return changeNodes(selectMembers(selector, session), change, session);
}

struct NoteArguments {
    std::string node;
    std::string text;
};

int runNote(const NoteArguments& arguments, Session& session) {
    return putText({{arguments.node}, {}}, key::note, arguments.text, session);
}

int runPin(const Selector& selector, Session& session) {
    return putText(selector, key::pinned, "yes", session);
}

int runUnpin(const Selector& selector, Session& session) {
    return putText(selector, key::pinned, "", session);
}

Action declarePinning(Options& options, int (&run)(const Selector&, Session&), const char* help) {
    auto selector = std::make_shared<Selector>();
    selectorArguments(options, *selector, help);
    return makeAction(selector, run);
}

}  // namespace

Action tag(Options& options) {
    auto arguments = std::make_shared<TagArguments>();
    options.signedArguments({"NODE", Stands::nodeOrTag}, arguments->selector.nodes,
                            "which nodes, and +TAG for each tag to add, -TAG for each to remove");
    whereOption(options, arguments->selector.where);
    return makeAction(arguments, runTag);
}

Action note(Options& options) {
    auto arguments = std::make_shared<NoteArguments>();
    options.argument({"NODE", Stands::node}, arguments->node, "what the note is on");
    options.argument("TEXT", arguments->text,
                     "takes the place of the note before; none when empty");
    return makeAction(arguments, runNote);
}

Action pin(Options& options) { return declarePinning(options, runPin, "what no purge deletes"); }
Action unpin(Options& options) { return declarePinning(options, runUnpin, "what may be purged"); }

}  // namespace cli
