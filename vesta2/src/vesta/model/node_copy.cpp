#include <sys/stat.h>

#include <optional>
#include <vector>

#include "../foundation/failure.h"
#include "../foundation/file_checks.h"
#include "../foundation/normal_path.h"
#include "../tree/flush.h"
#include "../tree/made_directory.h"
#include "../tree/new_directory.h"
#include "../tree/remove_tree.h"
#include "../tree/tree_copier.h"
#include "vesta2/names.h"
#include "vesta2/node.h"
#include "vesta2/node_group.h"
#include "vesta2/path_completion.h"

namespace vesta2 {

namespace fs = boost::filesystem;

namespace {

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
    ~PreservedFlags() { m_flags.restoreFlags(m_place.c_str()); }
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
    const std::string inner = fs::weakly_canonical(place).native() + '/';
    return inner.rfind(fs::canonical(directory).native() + '/', 0) == 0;
}

/// As soon as the source is deleted, the copy must outlive a power cut.
void makeLasting(const MadeDirectory& made) {
    flushFileSystem(made.descriptor(), made.path());
    flushDirectory(made.path().parent_path());
}

}  // namespace

bool Node::copy(const char* destination, bool rename, notify2::IProgress* progress) {
    return transfer(destination, rename, progress, Incomplete::kept);
}

bool Node::move(const char* destination, bool rename, notify2::IProgress* progress) {
    const fs::path old = m_directory;
    const marker_state_t state = m_markerState;
    struct stat source {};
    const bool isKnown = ::lstat(old.c_str(), &source) == 0;
    // What could not be copied in full is not deleted.
    if (!transfer(destination, rename, progress, Incomplete::undone)) {
        return false;
    }
    try {
        // Nor is it when it is not certain which directory that was, or when the copy cannot be
        // read.
        if (!isKnown || m_markerState != state) {
            return setStatus(eFileError);
        }
        removeTree(old, FileId(source));
        flushDirectory(old.parent_path());
        return true;
    } catch (const boost::system::system_error& e) {
        VESTA_FAIL_WITH(e);
        return setStatus(eFileError);
    }
}

bool Node::transfer(const char* destination, bool rename, notify2::IProgress* progress,
                    Incomplete incomplete) {
    if (!destination || !*destination) {
        return setStatus(eParameterError);
    }
    if (m_removed) {
        return setStatus(eNotFound);
    }
    if (progress && progress->isCancelled()) {
        return setStatus(eFileError);
    }
    try {
        const fs::path source = m_directory;
        const std::string sourceMarker = markerFileName();
        const fs::path target = normalPath(completePath(destination, nullptr));
        const std::string marker = rename ? markerNameIn(target) : sourceMarker;
        const std::vector<std::string> exclusions = flagFilePatterns();
        const TreeCopyRequest request{source, target, exclusions, progress, sourceMarker, marker};
        if (isThere(target)) {
            return setStatus(eAlreadyExists);
        }
        requireFreeMarkerName(request);
        if (!canBeLinkedFrom(target, marker)) {
            return false;
        }
        if (liesBelow(target, source) || createNewDirectory(target.native()) != eOK) {
            return setStatus(eFileError);
        }
        // However it ends: the copy is deleted if it is not wanted, then the flags come back, and
        // then the caller learns that it is over.
        ProgressSpan span(progress);
        std::optional<PreservedFlags> flags;
        MadeDirectory made(target, source);
        span.begin(*this);
        flags.emplace(m_flagManager, source);
        setStatus(eOK);
        if (!copyTree(request, made.duplicate())) {
            return setStatus(eFileError);
        }
        // Steps of the copy that failed are told by the status alone.
        const error_t outcome = getStatus();
        if (incomplete == Incomplete::undone) {
            if (outcome != eOK) {
                return false;
            }
            makeLasting(made);
        }
        flags->moveTo(target);
        flags.reset();
        const basekit2::sptr_t<INode> group = getParent();
        if (!settleIn(target, marker, group)) {
            const error_t code = getStatus();
            flags.emplace(m_flagManager, source);
            flags.reset();
            if (!settleIn(source, sourceMarker, group)) {
                // A link may lead to the copy already.
                made.keep();
            }
            return setStatus(code == eOK ? eUnknown : code);
        }
        made.keep();
        setStatus(outcome);
        return true;
    } catch (const boost::system::system_error& e) {
        return VESTA_FAIL_WITH(e);
    }
}

/// The name of this node's marker file when it is to be called as `directory` is.
std::string Node::markerNameIn(const fs::path& directory) const {
    return directory.filename().native() + fs::path(m_markerFilePath).extension().native();
}

/// Lives on in `directory`, whose marker file is called `marker`, as a member of `group`, if any.
/// False, with the status, when another node is open there, or when the group did not take it in.
bool Node::settleIn(const fs::path& directory, const std::string& marker,
                    const basekit2::sptr_t<INode>& group) {
    setMarkerFilePath((directory / marker).native(), group ? group->getPath() : nullptr);
    const bool isThere = m_directory.native() == directory.native();
    if (m_ownGroup && isThere) {
        m_ownGroup->setPath(directory.native());
        m_ownGroup->setOutputDirectory(directory.c_str());
    }
    // A marker that cannot be read has no group to be linked into.
    const bool isRead = m_markerState == marker_state_t::read;
    return isThere && getParent() == group && isLinkInOrder() && (getStatus() == eOK || !isRead);
}

}  // namespace vesta2
