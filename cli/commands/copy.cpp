// "copy" and "move": the node goes to a new place, and "copy" leaves the old one as it was.

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>

#include "base/presence.h"
#include "base/signals.h"
#include "base/text.h"
#include "commands/arguments.h"
#include "nodes/description.h"
#include "nodes/flags.h"
#include "nodes/new_place.h"
#include "nodes/node_argument.h"
#include "nodes/node_json.h"
#include "output/progress.h"
#include "vesta2/names.h"
#include "vesta2/tree_copy.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

struct Arguments {
    std::string node;
    std::string destination;
    bool rename = false;
};

using Run = int(const Arguments& arguments, Session& session);

/// A node outside of its group needs a link file in the group.
void requireLinkable(vesta2::INode& node, const std::string& place) {
    const auto group = node.getParent();
    if (group && fs::path(place).parent_path() != group->getPath() &&
        ::access(group->getPath(), W_OK | X_OK) != 0) {
        const Failure cause = Failure::fromErrno(errno, group->getPath());
        throw Failure(cause.code(), cause.path(),
                      "its group cannot get a link to the new place: " + cause.problem(),
                      "make a copy apart from the group with 'vesta2 duplicate'");
    }
}

void requireDeletable(const std::string& directory) {
    for (const fs::path& path : {fs::path(directory), fs::path(directory).parent_path()}) {
        if (::access(path.c_str(), W_OK | X_OK) != 0) {
            throw Failure::fromErrno(errno, path);
        }
    }
}

NewPlace prepare(const Arguments& arguments, vesta2::INode& node) {
    NewPlace place(arguments.destination, node, vesta2::flagFilePatterns());
    requireLinkable(node, place.path());
    const std::string name = fs::path(place.path()).filename();
    if (const auto status =
            arguments.rename ? vesta2::validateFileName(name.c_str()) : vesta2::eOK) {
        throw Failure::fromStatus(status, name);
    }
    return place;
}

/// Raises the error of a copy that has been undone.
[[noreturn]] void failUndone(const NewPlace& place, Signals& signals, const Progress& progress) {
    const vesta2::error_t status = vesta2::getStatus();
    throw signals.wantsEnd()
        ? place.cancelled()
        : place.failure(progress.failure() == vesta2::eOK ? status : progress.failure());
}

/// The error for a complete copy whose node still has the old link.
Failure notSettled(const NewPlace& place, const std::string& what) {
    return {exitFailure, place.path(), what + ", but its link is the old one",
            seeCommand("show", place.path())};
}

int runCopy(const Arguments& arguments, Session& session) {
    Signals signals;
    const auto node = namedPresentNode(arguments.node);
    const NewPlace place = prepare(arguments, *node);
    const std::string old = node->getPath();
    Progress progress(session, signals, old);
    if (!node->copy(place.path().c_str(), arguments.rename, &progress)) {
        failUndone(place, signals, progress);
    }
    if (vesta2::getStatus() != vesta2::eOK) {
        throw notSettled(place, "was made");
    }
    if (!arguments.rename && fs::path(old).parent_path() == fs::path(place.path()).parent_path()) {
        session.note("two nodes of one name are here now, and a list shows one; see --rename");
    }
    return reportNode(session, node, node->getPath());
}

int runMove(const Arguments& arguments, Session& session) {
    Signals signals;
    const auto node = namedPresentNode(arguments.node);
    const NewPlace place = prepare(arguments, *node);
    const std::string old = node->getPath();
    requireUnclaimed(*node);
    requireDeletable(old);
    // Of two concurrent moves the second finds nothing to move.
    const FlagClaim claim = claimForChange(old);
    requirePresent(*node);
    Progress progress(session, signals, old);
    const bool isDone = node->move(place.path().c_str(), arguments.rename, &progress);
    const vesta2::error_t status = vesta2::getStatus();
    if (old == node->getPath()) {
        failUndone(place, signals, progress);
    }
    if (!isDone || isThere(old)) {
        throw Failure(exitFailure, old,
                      "is at " + place.path() +
                          ", too, in full: what is still here could not be deleted, or has changed "
                          "meanwhile",
                      "see what is here, and remove it with 'vesta2 remove'");
    }
    if (status != vesta2::eOK) {
        throw notSettled(place, "was moved");
    }
    return reportNode(session, node, node->getPath());
}

Action declareCopy(Options& options, Run& run) {
    auto arguments = std::make_shared<Arguments>();
    nodeArgument(options, arguments->node);
    options.argument("DEST", arguments->destination, "the new directory, which must not exist yet");
    options.flag("--rename", arguments->rename, "name the node after the new directory, too");
    return makeAction(arguments, run);
}

}  // namespace

Action copy(Options& options) { return declareCopy(options, runCopy); }
Action move(Options& options) { return declareCopy(options, runMove); }

}  // namespace cli
