// "copy" and "move": the node goes to a new place, and "copy" leaves the old one as it was.

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>

#include "base/presence.h"
#include "base/signals.h"
#include "base/text.h"
#include "commands/arguments.h"
#include "nodes/copying.h"
#include "nodes/flags.h"
#include "nodes/node_argument.h"
#include "nodes/selection.h"
#include "output/progress.h"
#include "vesta2/names.h"
#include "vesta2/tree_copy.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

struct Arguments {
    CopyRequest request;
    bool keepName = false;
};

using NodeHandle = basekit2::sptr_t<vesta2::INode>;

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

void requireMovable(vesta2::INode& node, const NewPlace& place, bool keepName) {
    requireLinkable(node, place.path());
    const std::string name = fs::path(place.path()).filename();
    if (const auto status = keepName ? vesta2::eOK : vesta2::validateFileName(name.c_str())) {
        throw Failure::fromStatus(status, place.path());
    }
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
    return {exitFailure, place.path(), what + ", but its group has no link to it",
            seeCommand("show", place.path())};
}

NodeHandle makeCopy(const NodeHandle& node, const NewPlace& place, bool keepName, Signals& signals,
                    const Session& session) {
    const std::string old = node->getPath();
    const auto group = node->getParent();
    Progress progress(session, signals, old);
    // The link leads to the copy from now on, by the name that it has.
    const bool keepsName = keepName || node->isLinked();
    if (!node->copy(place.path().c_str(), !keepsName, &progress)) {
        failUndone(place, signals, progress);
    }
    const vesta2::error_t status = vesta2::getStatus();
    // The library reports success even when looking at the group failed.
    const std::string link = node->getLinkFilePath();
    const bool isLinked =
        link.empty() ? !group || fs::path(node->getPath()).parent_path() == group->getPath()
                     : openMember(link) == node;
    if (status != vesta2::eOK || !isLinked) {
        throw notSettled(place, "was made");
    }
    if (keepsName && fs::path(old).parent_path() == fs::path(place.path()).parent_path()) {
        session.note("two nodes of one name are here now: name them by their directories");
    }
    return node;
}

NodeHandle moveTo(const NodeHandle& node, const NewPlace& place, bool keepName, Signals& signals,
                  const Session& session) {
    const std::string old = node->getPath();
    const std::string formerLink = node->getLinkFilePath();
    Progress progress(session, signals, old);
    const bool isDone = node->move(place.path().c_str(), !keepName, &progress);
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
    // The library reports success even when looking at the group failed.
    const bool leadsElsewhere =
        !formerLink.empty() && isThere(formerLink) && openMember(formerLink) != node;
    if (status != vesta2::eOK || leadsElsewhere) {
        throw notSettled(place, "was moved");
    }
    return node;
}

int runCopy(const Arguments& arguments, Session& session) {
    const Copier copier{vesta2::flagFilePatterns(),
                        [&](const NodeHandle& node, const NewPlace& place) {
                            requireMovable(*node, place, arguments.keepName);
                        },
                        [&](const NodeHandle& node, const NewPlace& place, Signals& signals) {
                            return makeCopy(node, place, arguments.keepName, signals, session);
                        }};
    return copyNodes(arguments.request, copier, session);
}

int runMove(const Arguments& arguments, Session& session) {
    const Copier mover{vesta2::flagFilePatterns(),
                       [&](const NodeHandle& node, const NewPlace& place) {
                           requireMovable(*node, place, arguments.keepName);
                           requireUnclaimed(*node);
                           requireDeletable(node->getPath());
                       },
                       [&](const NodeHandle& node, const NewPlace& place, Signals& signals) {
                           return moveTo(node, place, arguments.keepName, signals, session);
                       },
                       true};
    return copyNodes(arguments.request, mover, session);
}

Action declareCopy(Options& options, int (&run)(const Arguments&, Session&)) {
    auto arguments = std::make_shared<Arguments>();
    copyArguments(options, arguments->request, "its new directory, or one that several go into");
    options.flag("--keep-name", arguments->keepName,
                 "let the node keep its name, whatever its new directory is called");
    return makeAction(arguments, run);
}

}  // namespace

Action copy(Options& options) { return declareCopy(options, runCopy); }
Action move(Options& options) { return declareCopy(options, runMove); }

}  // namespace cli
