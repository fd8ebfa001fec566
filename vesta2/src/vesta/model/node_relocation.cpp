// What gives a node another place or name: copies, moves, renames, and a marker file that people
// have moved.

#include <fcntl.h>
#include <sys/stat.h>

#include <optional>
#include <vector>

#include "../foundation/file_checks.h"
#include "../foundation/log.h"
#include "../tree/flush.h"
#include "../tree/made_directory.h"
#include "../tree/new_directory.h"
#include "../tree/removal_note.h"
#include "../tree/remove_tree.h"
#include "../tree/tree_copier.h"
#include "../tree/tree_record.h"
#include "basekit2/file_error.h"
#include "basekit2/files.h"
#include "link_file.h"
#include "node_state.h"
#include "vesta2/names.h"
#include "vesta2/path_completion.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::sptr_t;
using Lock = NodeState::Lock;

namespace {

/// Whether the node's group can hold a link to it when it lies in `place` and its marker file has
/// that name; the status is set.
bool canBeLinkedFrom(const NodeState& node, const fs::path& place, const std::string& markerName) {
    const Lock lock(NodeState::mutex());
    if (!node.isParentKnown) {
        return setStatus(eUnknown);
    }
    if (!node.parent) {
        return setStatus(eOK);
    }
    const fs::path group = node.parent->getPath();
    if (leadToSame(place.parent_path(), group) == true) {
        return setStatus(eOK);
    }
    const Leads leads = whereLeads(readLinkFile((group / (markerName + linkSuffix())).native()),
                                   {node.markerFilePath, node.formerMarkerFilePath});
    return setStatus(leads == Leads::elsewhere ? eAlreadyExists
                     : leads == Leads::unknown ? eUnknown
                                               : eOK);
}

/// Holds the flags of a node back while its directory is copied. Whatever happens meanwhile, they
/// are claimed again.
class PreservedFlags {
public:
    PreservedFlags(util::FlagManager& flags, const fs::path& home)
        : m_flags(flags), m_place(home.native()) {
        try {
            m_flags.preserveFlags();
        } catch (...) {
            m_flags.restoreFlags(m_place.c_str());
            throw;
        }
    }
    ~PreservedFlags() {
        try {
            m_flags.restoreFlags(m_place.c_str());
        } catch (const std::bad_alloc&) {
            // Those that are not claimed again are given up already.
        }
    }
    PreservedFlags(const PreservedFlags&) = delete;
    PreservedFlags& operator=(const PreservedFlags&) = delete;

    /// Where they are claimed at the end; the home unless told otherwise.
    void moveTo(const fs::path& place) { m_place = place.native(); }

private:
    util::FlagManager& m_flags;
    std::string m_place;
};

/// Tells the caller's progress object of the beginning and, however it comes, of the end.
class ProgressSpan {
public:
    explicit ProgressSpan(notify2::IProgress* progress) : m_progress(progress) {}
    ~ProgressSpan() {
        if (m_isBegun) {
            m_progress->finish();
        }
    }
    ProgressSpan(const ProgressSpan&) = delete;
    ProgressSpan& operator=(const ProgressSpan&) = delete;

    void begin(Node& node) {
        if (m_progress) {
            m_progress->start("", static_cast<double>(node.getSize()));
            m_isBegun = true;
        }
    }

private:
    notify2::IProgress* m_progress;
    bool m_isBegun = false;
};

bool liesBelow(const fs::path& place, const fs::path& directory) {
    return (resolved(place) + '/').starts_with(resolved(directory) + '/');
}

/// As soon as the source is deleted, the copy must outlive a power cut.
void makeLasting(const MadeDirectory& made) {
    flushFileSystem(made.descriptor(), made.path());
    flushDirectory(made.path().parent_path());
}

/// As long as it lives, the node can be bound in no other directory than `home`.
class OnlyHome {
public:
    OnlyHome(NodeState& node, const FileId& home) : m_node(node) { m_node.onlyHome = home; }
    ~OnlyHome() { m_node.onlyHome = {}; }
    OnlyHome(const OnlyHome&) = delete;
    OnlyHome& operator=(const OnlyHome&) = delete;

private:
    NodeState& m_node;
};

/// Lives on in the directory `home`, whose marker file is called `marker`, as a member of `group`,
/// if any; else of the one that it lies in now.
/// False, with the status, when another node is open there, when another directory is in its place,
/// or when the group did not take it in.
bool settleIn(NodeState& node, const KnownDirectory& home, const std::string& marker,
              const sptr_t<INode>& group, std::optional<marker_state_t> state) {
    const OnlyHome only(node, home.id);
    node.bind((home.path / marker).native(), group ? group->getPath() : nullptr);
    const bool isThere = node.directory.native() == home.path.native();
    if (node.ownGroup && isThere) {
        node.ownGroup->setPath(home.path.native());
        node.ownGroup->setOutputDirectory(home.path.c_str());
    }
    // Without its section the marker has no group to be linked into.
    const bool isRead = node.markerState == marker_state_t::read;
    return isThere && node.markerState == state.value_or(node.markerState) &&
           (!group || node.self.getParent() == group) && node.isPlaced &&
           (getStatus() == eOK || !isRead);
}

/// The node lives on in the copy, with its flags; or, with the status, where it was.
bool moveInto(NodeState& node, const TreeCopyRequest& copy, MadeDirectory& made,
              std::optional<PreservedFlags>& flags, std::optional<marker_state_t> state) {
    flags->moveTo(copy.destination);
    flags.reset();
    const sptr_t<INode> group = node.self.getParent();
    if (settleIn(node, {copy.destination, made.id()}, copy.copiedMarker, group, state)) {
        made.keep();
        return true;
    }
    const error_t code = getStatus();
    flags.emplace(node.flags, copy.source);
    flags.reset();
    if (!settleIn(node, {copy.source, copy.home}, copy.marker, group, state)) {
        // A link may lead to the copy already.
        made.keep();
    }
    return setStatus(code == eOK ? eUnknown : code);
}

/// What must hold before anything is made; the status is set.
bool mayBeCopied(const NodeState& node, const TreeCopyRequest& copy) {
    if (isThere(copy.destination)) {
        return setStatus(eAlreadyExists);
    }
    requireFreeMarkerName(copy);
    if (!canBeLinkedFrom(node, copy.destination, copy.copiedMarker)) {
        return false;
    }
    return setStatus(liesBelow(copy.destination, copy.source) ? eFileError : eOK);
}

/// What a move leaves behind.
struct Leaving {
    TreeRecord record;                ///< of what was copied: nothing else is deleted
    std::optional<RemovalNote> note;  ///< as soon as there are two nodes
};

/// A move has `leaving`; then a copy with failed steps is undone, else it is kept.
bool transferTo(NodeState& node, const TreeCopyRequest& copy, Leaving* leaving) {
    const marker_state_t state = node.markerState;
    if (!mayBeCopied(node, copy)) {
        return false;
    }
    if (createNewDirectory(copy.destination.native()) != eOK) {
        return setStatus(eFileError);
    }
    // However it ends: the copy is deleted if it is not wanted, then the flags come back, and then
    // the caller learns that it is over.
    ProgressSpan span(copy.progress);
    std::optional<PreservedFlags> flags;
    MadeDirectory made(copy.destination, copy.source);
    span.begin(node.self);
    flags.emplace(node.flags, copy.source);
    setStatus(eOK);
    if (!copyTree(copy, made.duplicate())) {
        return setStatus(eFileError);
    }
    // Deliberate: steps of the copy that failed are told by the status alone.
    const error_t outcome = getStatus();
    if (leaving) {
        if (outcome != eOK) {
            return false;
        }
        makeLasting(made);
        leaving->note.emplace(KnownDirectory{copy.source, node.home});
    }
    if (!moveInto(node, copy, made, flags, outcome == eOK ? std::optional(state) : std::nullopt)) {
        return false;
    }
    setStatus(outcome);
    return true;
}

bool transfer(NodeState& node, const char* destination, bool rename, notify2::IProgress* progress,
              Leaving* leaving) {
    if (!destination || !*destination) {
        return setStatus(eParameterError);
    }
    if (node.isGone()) {
        return false;
    }
    if (progress && progress->isCancelled()) {
        return setStatus(eFileError);
    }
    try {
        const fs::path source = node.directory;
        const fs::path marker = fs::path(node.markerFilePath).filename();
        const fs::path target = normalPath(completePath(destination, nullptr));
        const std::string copied =
            rename ? target.filename().native() + marker.extension().native() : marker.native();
        const std::vector<std::string> exclusions = flagFilePatterns();
        return transferTo(node,
                          {source, target, exclusions, progress, marker.native(), copied, node.home,
                           leaving ? &leaving->record : nullptr},
                          leaving);
    } catch (const boost::system::system_error& e) {
        return failWith(e);
    }
}

}  // namespace

bool Node::copy(const char* destination, bool rename, notify2::IProgress* progress) {
    return transfer(*m_state, destination, rename, progress, nullptr);
}

bool Node::move(const char* destination, bool rename, notify2::IProgress* progress) {
    const fs::path old = m_state->directory;
    const FileId home = m_state->home;
    struct stat source {};
    const bool isKnown =
        ::lstat(old.c_str(), &source) == 0 && (FileId(source) == home || !home.isKnown() ||
                                               !S_ISDIR(source.st_mode) || isShared(old.native()));
    Leaving leaving;
    // What could not be copied in full is not deleted.
    if (!transfer(*m_state, destination, rename, progress, &leaving)) {
        return false;
    }
    try {
        // Nor is it when it is not certain which directory that was.
        if (isKnown && (removeTree(old, FileId(source), &leaving.record) > 0 || isAbsent(old))) {
            flushDirectory(old.parent_path());
            return true;
        }
    } catch (const boost::system::system_error& e) {
        failWith(e);
    }
    // There are two nodes now.
    leaving.note->keep();
    return setStatus(eFileError);
}

bool Node::changeMarkerFilePath(const char* newMarker) {
    const error_t before = getStatus();
    const Lock lock(s_recursiveMutex);
    if (m_state->linkFilePath.empty() || !newMarker || !*newMarker ||
        !isThere(m_state->linkFilePath) || !isMissing() || !isAbsent(m_state->markerFilePath) ||
        !isThere(newMarker)) {
        setStatus(before);
        return false;
    }
    try {
        const std::string marker = normalPath(completePath(newMarker, nullptr)).native();
        return m_state->bind(marker, m_state->pathOfParent());
    } catch (const boost::system::system_error& e) {
        return failWith(e);
    }
}

bool Node::changeUserVisibleName(const char* name) {
    if (!setStatus(m_state->isRemoved ? eNotFound : validateFileName(name))) {
        return false;
    }
    const Lock lock(s_recursiveMutex);
    const fs::path marker = m_state->markerFilePath;
    const fs::path renamed = marker.parent_path() / (name + marker.extension().native());
    try {
        if (renamed.native() != marker.native()) {
            if (!canBeLinkedFrom(*m_state, m_state->directory, renamed.filename().native())) {
                return false;
            }
            if (!basekit2::rename_exclusively(AT_FDCWD, marker.c_str(), renamed.c_str())) {
                basekit2::throw_file_error("cannot rename", marker);
            }
        }
        return m_state->bind(renamed.native(), m_state->pathOfParent());
    } catch (const boost::system::system_error& e) {
        return failWith(e);
    }
}

}  // namespace vesta2
