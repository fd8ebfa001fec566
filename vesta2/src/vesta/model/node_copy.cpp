#include "../foundation/failure.h"
#include "../foundation/file_checks.h"
#include "../foundation/normal_path.h"
#include "../tree/new_directory.h"
#include "../tree/remove_tree.h"
#include "vesta2/names.h"
#include "vesta2/node.h"
#include "vesta2/node_group.h"
#include "vesta2/path_completion.h"
#include "vesta2/tree_copy.h"

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

/// A directory that is deleted again unless what it was made for succeeds.
class NewTree {
public:
    explicit NewTree(fs::path path) : m_path(std::move(path)) {}
    ~NewTree() {
        try {
            if (!m_path.empty()) {
                removeTree(m_path);
            }
        } catch (const boost::system::system_error& e) {
            // The status tells why it was not wanted.
            logError(Severity::error, errorFromBoostError(e), e.what(), __LINE__);
        }
    }
    NewTree(const NewTree&) = delete;
    NewTree& operator=(const NewTree&) = delete;

    void keep() { m_path.clear(); }

private:
    fs::path m_path;
};

/// Tells the caller's progress object of the beginning and, however it comes, of the end.
class ProgressSpan {
public:
    ProgressSpan(notify2::IProgress* progress, std::uint64_t total) : m_progress(progress) {
        if (m_progress) {
            m_progress->start("", static_cast<double>(total));
        }
    }
    ~ProgressSpan() {
        if (m_progress) {
            m_progress->finish();
        }
    }
    ProgressSpan(const ProgressSpan&) = delete;
    ProgressSpan& operator=(const ProgressSpan&) = delete;

private:
    notify2::IProgress* m_progress;
};

bool liesBelow(const fs::path& place, const fs::path& directory) {
    const std::string inner = fs::weakly_canonical(place).native() + '/';
    return inner.rfind(fs::canonical(directory).native() + '/', 0) == 0;
}

}  // namespace

bool Node::copy(const char* destination, bool rename, notify2::IProgress* progress) {
    return transfer(destination, rename, progress, Incomplete::kept);
}

bool Node::move(const char* destination, bool rename, notify2::IProgress* progress) {
    const fs::path old = m_directory;
    // What could not be copied in full is not deleted.
    if (!transfer(destination, rename, progress, Incomplete::undone)) {
        return false;
    }
    try {
        removeTree(old);
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
    if (progress && progress->isCancelled()) {
        return setStatus(eFileError);
    }
    try {
        const fs::path target = normalPath(completePath(destination, nullptr));
        if (isThere(target)) {
            return setStatus(eAlreadyExists);
        }
        if (liesBelow(target, m_directory) || createNewDirectory(target.native()) != eOK) {
            return setStatus(eFileError);
        }
        NewTree tree(target);
        restrictLike(target, m_directory);
        const ProgressSpan span(progress, progress ? getSize() : 0);
        error_t outcome = eOK;
        {
            PreservedFlags flags(m_flagManager, m_directory);
            setStatus(eOK);
            if (!copyDirectoryWithExlusionPattern(m_directory, target, flagFilePatterns(),
                                                  progress)) {
                return setStatus(eFileError);
            }
            outcome = getStatus();
            if (outcome != eOK && incomplete == Incomplete::undone) {
                return false;
            }
            tree.keep();
            flags.moveTo(target);
        }
        settleIn(target, rename);
        // Steps of the copy that failed are told by the status alone.
        if (outcome != eOK) {
            setStatus(outcome);
        }
        return true;
    } catch (const boost::system::system_error& e) {
        return VESTA_FAIL_WITH(e);
    }
}

/// Lives on in `directory`, which has everything but the name of the node's own.
void Node::settleIn(const fs::path& directory, bool rename) {
    const std::string marker = (directory / markerFileName()).native();
    setMarkerFilePath(marker, m_parent ? m_parent->getPath() : nullptr);
    if (rename) {
        changeUserVisibleName(m_directory.filename().c_str());
    }
    if (m_ownGroup) {
        m_ownGroup->setPath(directory.native());
        m_ownGroup->setOutputDirectory(directory.c_str());
    }
}

}  // namespace vesta2
