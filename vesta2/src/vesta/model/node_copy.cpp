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
    const basekit2::sptr_t<INode> group = m_parent;
    struct stat source {};
    const bool isKnown = ::lstat(old.c_str(), &source) == 0;
    // What could not be copied in full is not deleted.
    if (!transfer(destination, rename, progress, Incomplete::undone)) {
        return false;
    }
    try {
        // Nor is it when it is not certain which directory that was, when the copy cannot be read,
        // while a link still leads to it, or when its group could not take in the copy.
        if (!isKnown || m_markerState != state || m_parent.get() != group.get() ||
            !isLinkInOrder()) {
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
        const fs::path target = normalPath(completePath(destination, nullptr));
        const std::string marker = rename ? markerNameIn(target) : markerFileName();
        const std::vector<std::string> exclusions = flagFilePatterns();
        const TreeCopyRequest request{m_directory, target,           exclusions,
                                      progress,    markerFileName(), marker};
        if (isThere(target)) {
            return setStatus(eAlreadyExists);
        }
        requireFreeMarkerName(request);
        if (!canBeLinkedFrom(target, marker)) {
            return false;
        }
        if (liesBelow(target, m_directory) || createNewDirectory(target.native()) != eOK) {
            return setStatus(eFileError);
        }
        // However it ends: the copy is deleted if it is not wanted, then the flags come back, and
        // then the caller learns that it is over.
        ProgressSpan span(progress);
        std::optional<PreservedFlags> flags;
        MadeDirectory made(target, m_directory);
        span.begin(*this);
        flags.emplace(m_flagManager, m_directory);
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
        const basekit2::sptr_t<INode> group = m_parent;
        settleIn(target, marker);
        if (m_directory != target) {
            // Another node is open on the copy's marker already: this one stays where it was.
            flags.emplace(m_flagManager, m_directory);
            return setStatus(eAlreadyExists);
        }
        made.keep();
        if (outcome != eOK) {
            setStatus(outcome);
        } else if ((m_parent.get() != group.get() || !isLinkInOrder()) && getStatus() == eOK) {
            // Its group could not be looked at, and did not take in the copy.
            setStatus(eUnknown);
        }
        return true;
    } catch (const boost::system::system_error& e) {
        return VESTA_FAIL_WITH(e);
    }
}

/// The name of this node's marker file when it is to be called as `directory` is.
std::string Node::markerNameIn(const fs::path& directory) const {
    return directory.filename().native() + fs::path(m_markerFilePath).extension().native();
}

/// Lives on in `directory`, whose marker file is called `marker`.
void Node::settleIn(const fs::path& directory, const std::string& marker) {
    setMarkerFilePath((directory / marker).native(), m_parent ? m_parent->getPath() : nullptr);
    if (m_ownGroup && m_directory == directory) {
        m_ownGroup->setPath(directory.native());
        m_ownGroup->setOutputDirectory(directory.c_str());
    }
}

}  // namespace vesta2
