#include "tree_copier.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "../discovery/extensions.h"
#include "../foundation/log.h"
#include "basekit2/bag_io.h"
#include "basekit2/file_error.h"
#include "basekit2/files.h"
#include "batch_copier.h"
#include "directory_chain.h"
#include "level_listing.h"
#include "removal_note.h"
#include "tree_walk.h"
#include "vesta2/names.h"
#include "vesta2/tree_copy.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::descriptor_t;

namespace {

/// When a file of a directory is copied: what makes the directory a node comes last of all, when
/// what lies below it is complete, and behind the marks of its state.
enum class Turn { atOnce, mark, node };

Turn turnOf(const std::string& name, const FileSet& markers) {
    if (name == mark::invalid || name == mark::finalized) {
        return Turn::mark;
    }
    return isOneOf(extensionOf(name), markers) ? Turn::node : Turn::atOnce;
}

/// Works on descriptors, so that no name on the way is looked up twice and none leads out of either
/// tree. A step that fails in a directory ends that directory, and leaves its parent to go on.
class TreeCopier {
public:
    TreeCopier(const TreeCopyRequest& request, descriptor_t source, descriptor_t destination)
        : m_request(request),
          m_source(std::move(source), request.source.native()),
          m_target(std::move(destination), request.destination.native()),
          m_files(request.progress, m_source, m_target, request.record) {}

    bool run() {
        try {
            m_files.goOnUnlessCancelled();
            noteDestination();
            refuseDestination();
            walkTree(*this);
            m_files.finish();
            endDirectory();
            m_files.goOnUnlessCancelled();
            return true;
        } catch (const CopyEnded&) {
            return false;
        } catch (const boost::system::system_error& e) {
            failWith(e);
            return !m_files.isCancelled();
        }
    }

    std::vector<std::string> list() {
        std::vector<std::string> subdirectories;
        m_open.emplace_back();
        m_files.enter(m_open.back().isWhole);
        std::string leftOut;
        bool isDirectory = false;
        try {
            forEachEntry(m_source, [&](const basekit2::directory_listing_t& entry) {
                m_files.goOnUnlessCancelled();
                std::string name(entry.name());
                const unsigned char kind = entry.kind();
                if (!*m_open.back().isWhole || basekit2::is_bag_temporary(name) ||
                    skipOnExport(name, m_request.exclusions)) {
                    isDirectory = isDirectory || kind == DT_DIR;
                    leftOut = kind == DT_DIR || kind == DT_REG ? name : leftOut;
                    return;
                }
                if (kind == DT_DIR) {
                    subdirectories.push_back(std::move(name));
                } else if (kind == DT_REG) {
                    noteFile(std::move(name));
                }
            });
            record(leftOut, isDirectory);
            m_files.copyRest(m_open.back().marks.empty());
        } catch (const boost::system::system_error& e) {
            endLevel(e);
        }
        return subdirectories;
    }

    Next enter(const std::string& name) {
        m_files.goOnUnlessCancelled();
        try {
            makeLike(name);
        } catch (const boost::system::system_error& e) {
            // The files came before.
            m_files.finish();
            endLevel(e);
            return Next::up;
        }
        return enterBoth(name) ? Next::into : Next::past;
    }

    bool leave(const std::string& /*name*/) {
        endDirectory();
        m_source.leave();
        m_target.leave();
        m_files.goOnUnlessCancelled();
        return true;
    }

private:
    struct Mark {
        Turn turn;
        std::string name;
        bool operator<(const Mark& other) const { return turn < other.turn; }
    };

    /// A directory with its files, whose subdirectories are being copied.
    struct OpenDirectory {
        std::vector<Mark> marks;
        SharedFlag isWhole = std::make_shared<std::atomic<bool>>(true);
    };

    /// The directory that is being listed. A directory is never left out as one of a flag's files.
    void record(const std::string& leftOut, bool isDirectory) {
        if (!m_request.record) {
            return;
        }
        const bool isNode = std::ranges::any_of(
            m_open.back().marks, [](const Mark& mark) { return mark.turn == Turn::node; });
        if (!leftOut.empty() && (isDirectory || !isNode)) {
            basekit2::throw_file_error("named like a flag's, and would be lost:",
                                       m_source.pathOf(leftOut.c_str()), EINVAL);
        }
        struct stat info {};
        if (::fstat(m_source.descriptor(), &info) != 0) {
            basekit2::throw_file_error("cannot look at", m_source.path());
        }
        m_request.record->addDirectory(FileId(info), isNode);
    }

    void endLevel(const boost::system::system_error& e) {
        failWith(e);
        *m_open.back().isWhole = false;
    }

    void noteDestination() {
        struct stat info {};
        if (::fstat(m_target.descriptor(), &info) != 0) {
            basekit2::throw_file_error("cannot look at", m_target.path());
        }
        m_destination = FileId(info);
    }

    /// The copy of a tree that holds its own destination would never end.
    void refuseDestination() {
        struct stat info {};
        if (::fstat(m_source.descriptor(), &info) != 0) {
            basekit2::throw_file_error("cannot look at", m_source.path());
        }
        if (FileId(info) == m_destination) {
            logError(eInvalidPath, m_source.path().c_str());
            setStatus(eInvalidPath);
            throw CopyEnded();
        }
    }

    void noteFile(std::string name) {
        const Turn turn = turnOf(name, nodeMarkerExtensions());
        if (turn == Turn::atOnce) {
            m_files.add(std::move(name));
        } else {
            m_open.back().marks.push_back({turn, std::move(name)});
        }
    }

    /// All below the present directory is copied: now it may become a node.
    void endDirectory() {
        OpenDirectory directory = std::move(m_open.back());
        m_open.pop_back();
        if (!directory.marks.empty()) {
            m_files.finish();
        }
        if (!*directory.isWhole) {
            return;
        }
        std::stable_sort(directory.marks.begin(), directory.marks.end());
        try {
            for (const Mark& mark : directory.marks) {
                m_files.goOnUnlessCancelled();
                copyMark(mark.name);
            }
        } catch (const boost::system::system_error& e) {
            failWith(e);
        }
    }

    /// A marker is never seen half written.
    void copyMark(const std::string& name) {
        const std::string temporary = basekit2::make_bag_temporary();
        if (m_files.copy(m_source.view(), name, m_target.view(), temporary)) {
            const std::string& wanted = nameInCopy(name);
            if (!basekit2::rename_exclusively(m_target.descriptor(), temporary.c_str(),
                                              wanted.c_str())) {
                deleteFromTarget(temporary);
                basekit2::throw_file_error("cannot make", m_target.pathOf(wanted.c_str()));
            }
        }
    }

    [[nodiscard]] const std::string& nameInCopy(const std::string& name) const {
        const bool isRenamed =
            m_source.isAtTop() && name == m_request.marker && !m_request.copiedMarker.empty();
        return isRenamed ? m_request.copiedMarker : name;
    }

    void deleteFromTarget(const std::string& name) {
        const basekit2::kept_errno_t kept;
        ::unlinkat(m_target.descriptor(), name.c_str(), 0);
    }

    /// Makes the directory `name` in the target, as it is in the source.
    void makeLike(const std::string& name) {
        struct stat info {};
        if (::fstatat(m_source.descriptor(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
            basekit2::throw_file_error("cannot look at", m_source.pathOf(name.c_str()));
        }
        // Its owner must be able to fill it, and to delete it again.
        constexpr mode_t permissions = S_IRWXU | S_IRWXG | S_IRWXO;
        const mode_t mode = (info.st_mode & permissions) | S_IRWXU;
        if (::mkdirat(m_target.descriptor(), name.c_str(), mode) != 0) {
            if (errno == EEXIST && isDirectoryInTarget(name)) {
                throw CopyEnded();
            }
            basekit2::throw_file_error("cannot make", m_target.pathOf(name.c_str()));
        }
    }

    [[nodiscard]] bool isDirectoryInTarget(const std::string& name) const {
        const basekit2::kept_errno_t kept;
        struct stat info {};
        const bool found = ::fstatat(m_target.descriptor(), name.c_str(), &info, 0) == 0;
        return found && S_ISDIR(info.st_mode);
    }

    bool enterBoth(const std::string& name) {
        try {
            if (!m_target.enter(name.c_str())) {
                basekit2::throw_file_error("cannot open the directory",
                                           m_target.pathOf(name.c_str()));
            }
            if (!m_source.enter(name.c_str())) {
                leaveTarget();
                basekit2::throw_file_error("cannot list the directory",
                                           m_source.pathOf(name.c_str()));
            }
        } catch (const boost::system::system_error& e) {
            failWith(e);
            return false;
        }
        refuseDestination();
        return true;
    }

    void leaveTarget() {
        const basekit2::kept_errno_t kept;
        m_target.leave();
    }

    const TreeCopyRequest& m_request;
    DirectoryChain m_source;
    DirectoryChain m_target;
    BatchCopier m_files;
    FileId m_destination;
    std::vector<OpenDirectory> m_open;  ///< from the top to the present one
};

}  // namespace

void requireFreeMarkerName(const TreeCopyRequest& request) {
    if (request.copiedMarker == request.marker) {
        return;
    }
    const fs::path taken = request.source / request.copiedMarker;
    struct stat info {};
    if (::lstat(taken.c_str(), &info) == 0) {
        errno = EEXIST;
    }
    if (errno != ENOENT) {
        basekit2::throw_file_error("the marker file cannot be called like", taken);
    }
}

namespace {

/// What was copied of a directory that is deleted meanwhile is a part, and looks whole.
void requireNotBeingRemoved(const fs::path& path, descriptor_t directory) {
    struct stat info {};
    if (::fstat(directory.get(), &info) != 0) {
        basekit2::throw_file_error("cannot look at the directory", path);
    }
    bool isLeaving = info.st_nlink == 0;
    basekit2::directory_listing_t listing(path, std::move(directory));
    while (!isLeaving && listing.next()) {
        const std::string_view name = listing.name();
        isLeaving = RemovalNote::isOne(name) && !basekit2::is_left_bag_temporary(name);
    }
    if (isLeaving) {
        basekit2::throw_file_error("somebody deletes the directory", path, ENOENT);
    }
}

}  // namespace

bool copyTree(const TreeCopyRequest& request, descriptor_t destination) {
    // What the caller names may be a symbolic link; what is found below it is none.
    descriptor_t source(
        ::open(request.source.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC));
    if (!source) {
        basekit2::throw_file_error("cannot list the directory", request.source);
    }
    if (isAnother(source.get(), request.home)) {
        basekit2::throw_file_error("another directory is in the place of", request.source, ENOENT);
    }
    descriptor_t same(::openat(source.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!same) {
        basekit2::throw_file_error("cannot list the directory", request.source);
    }
    const bool isDone = TreeCopier(request, std::move(source), std::move(destination)).run();
    requireNotBeingRemoved(request.source, std::move(same));
    return isDone;
}

}  // namespace vesta2
