#include "remove_tree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "../discovery/extensions.h"
#include "../foundation/file_checks.h"
#include "basekit2/file_error.h"
#include "directory_chain.h"
#include "level_listing.h"
#include "removal_note.h"
#include "tree_walk.h"
#include "vesta2/names.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::descriptor_t;

namespace {

/// A file system may leave entries out of a listing while others are deleted; each further pass
/// deletes what the one before missed.
constexpr int mostPasses = 16;

/// What is to be deleted, if it is that.
struct Wanted {
    FileId id;
    bool isNode = false;                ///< which a symbolic link may stand for
    const TreeRecord* known = nullptr;  ///< what may be deleted; null for all

    [[nodiscard]] bool isOther(int directory) const {
        struct stat info {};
        return isNode ? isAnother(directory, id)
                      : ::fstat(directory, &info) != 0 || FileId(info) != id;
    }
};

/// Works on descriptors alone, so that no name is looked up twice and none leads out of the tree.
class Remover {
public:
    /// Deletes the entry `name` of the directory at the top of `chain`; with `only`, if it is that.
    Remover(DirectoryChain chain, std::string name, const Wanted* only)
        : m_chain(std::move(chain)), m_name(std::move(name)), m_only(only) {}

    std::uintmax_t run() {
        try {
            walkTree(*this);
        } catch (...) {
            // What is left looks whole.
            if (m_note && m_count > 0) {
                m_note->keep();
            }
            throw;
        }
        return m_count;
    }

    std::vector<std::string> list() {
        if (m_chain.isAtTop()) {
            return {m_name};
        }
        std::vector<std::string> subdirectories;
        forEachEntry(m_chain, [&](const basekit2::directory_listing_t& entry) {
            std::string name(entry.name());
            const bool isDirectory = entry.kind() == DT_DIR;
            if (!isDirectory && m_misses.size() == 2 && RemovalNote::isOne(name)) {
                m_notes.push_back(std::move(name));
                return;
            }
            if (!isDirectory && m_misses.size() == 2 &&
                isOneOf(extensionOf(name), nodeMarkerExtensions())) {
                m_last.push_back(std::move(name));
                return;
            }
            if (m_misses.size() == 2 && !m_note) {
                m_note.emplace(m_chain.duplicate());
            }
            if (isDirectory || !unlinkFile(name)) {
                subdirectories.push_back(std::move(name));
            }
        });
        return subdirectories;
    }

    Next enter(const std::string& name) {
        const bool isOutermost = m_chain.isAtTop();
        if (m_chain.enter(name.c_str())) {
            if (isOutermost && m_only && m_only->isOther(m_chain.descriptor())) {
                m_chain.leave();
                return Next::past;
            }
            requireKnown(name);
            requireSameMount(name, isOutermost);
            m_misses.push_back(0);
            return Next::into;
        }
        if (errno != ENOENT && errno != ENOTDIR && errno != ELOOP) {
            fail(name);
        }
        const bool isOther = errno == ENOENT || (isOutermost && m_only && !isWanted(name));
        if (!isOther && !unlinkFile(name)) {
            fail(name);
        }
        return Next::past;
    }

    bool leave(const std::string& name) {
        // A node whose removal fails stays a node, which can be found and removed again.
        if (m_misses.size() == 2) {
            for (const auto* names : {&m_last, &m_notes}) {
                for (const std::string& last : *names) {
                    if (!unlinkFile(last)) {
                        fail(last);
                    }
                }
            }
            m_note.reset();
        }
        m_chain.leave();
        m_misses.pop_back();
        int& misses = m_misses.back();
        if (unlink(name, AT_REMOVEDIR)) {
            misses = 0;
            return true;
        }
        if ((errno != ENOTEMPTY && errno != EEXIST) || ++misses == mostPasses) {
            fail(name);
        }
        return false;
    }

private:
    [[noreturn]] void fail(const std::string& name) {
        const int error = errno;
        const fs::path path = m_chain.pathOf(name.c_str());
        errno = error;
        basekit2::throw_file_error("cannot delete", path);
    }

    void requireKnown(const std::string& name) {
        struct stat info {};
        if (!m_only || !m_only->known ||
            (::fstat(m_chain.descriptor(), &info) == 0 &&
             m_only->known->holdsDirectory(FileId(info)))) {
            return;
        }
        if (isAnother(m_chain.descriptor(), m_only->id)) {
            m_chain.leave();
            errno = ESTALE;
            fail(name);
        }
    }

    /// What is mounted in the tree is no part of it.
    void requireSameMount(const std::string& name, bool isOutermost) {
        struct statx info {};
        const bool isTold =
            ::statx(m_chain.descriptor(), "", AT_EMPTY_PATH, STATX_MNT_ID, &info) == 0 &&
            (info.stx_mask & STATX_MNT_ID) != 0;
        const std::uint64_t mount = isTold ? info.stx_mnt_id : 0;
        if (!isOutermost && mount != m_mount) {
            m_chain.leave();
            errno = EBUSY;
            fail(name);
        }
        m_mount = mount;
    }

    /// As `requireKnown`, of an entry that is no directory.
    void requireKnownFile(const std::string& name) {
        struct stat parent {};
        struct stat info {};
        if (!m_only || !m_only->known || m_chain.isAtTop() || RemovalNote::isOne(name) ||
            (::fstat(m_chain.descriptor(), &parent) == 0 &&
             ::fstatat(m_chain.descriptor(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 &&
             (S_ISDIR(info.st_mode) || m_only->known->mayBeDeleted(name, info, FileId(parent))))) {
            return;
        }
        if (info.st_ino != 0) {
            errno = ESTALE;
        }
        if (errno != ENOENT) {
            fail(name);
        }
    }

    [[nodiscard]] bool isWanted(const std::string& name) {
        struct stat info {};
        const int flags = m_only->isNode ? 0 : AT_SYMLINK_NOFOLLOW;
        if (::fstatat(m_chain.descriptor(), name.c_str(), &info, flags) != 0) {
            if (basekit2::means_absent(errno)) {
                return false;
            }
            fail(name);
        }
        return FileId(info) == m_only->id;
    }

    /// True when the entry is gone, also when another process deleted it.
    bool unlink(const std::string& name, int flags) {
        if (::unlinkat(m_chain.descriptor(), name.c_str(), flags) == 0) {
            ++m_count;
            return true;
        }
        return errno == ENOENT;
    }

    /// False when it may be a directory.
    bool unlinkFile(const std::string& name) {
        requireKnownFile(name);
        if (unlink(name, 0)) {
            return true;
        }
        if (errno != EISDIR && errno != EPERM) {
            fail(name);
        }
        return false;
    }

    DirectoryChain m_chain;
    std::string m_name;
    const Wanted* m_only;
    // What goes last at the top: marker files, and then what tells of the removal.
    std::vector<std::string> m_last;
    std::vector<std::string> m_notes;
    std::optional<RemovalNote> m_note;
    std::uintmax_t m_count = 0;
    std::uint64_t m_mount = 0;     ///< that the tree lies in; 0 where that cannot be told
    std::vector<int> m_misses{0};  ///< by depth: how often the present subdirectory was not empty
};

/// Deletes the entry `name`, which may be a whole path, of the directory `parent`.
std::uintmax_t removeEntry(descriptor_t parent, const fs::path& parentPath, const std::string& name,
                           const Wanted* only) {
    if (!parent && parent.get() != AT_FDCWD) {
        basekit2::throw_file_error("cannot delete", name);
    }
    return Remover(DirectoryChain(std::move(parent), parentPath.native()), name, only).run();
}

/// Where the lookup of `path` begins. A relative one stays below the working directory of now; for
/// an absolute one nothing need be open.
descriptor_t startOf(const fs::path& path) {
    return descriptor_t(path.is_absolute() ? AT_FDCWD : ::open(".", O_PATH | O_CLOEXEC));
}

/// Whatever comes into the place of the directory that `path` lies in loses nothing, not even an
/// empty directory.
std::uintmax_t removeWanted(const fs::path& path, const Wanted& wanted) {
    const std::string name = path.native().substr(0, path.native().find_last_not_of('/') + 1);
    const fs::path around = name.find('/') == name.npos ? "." : fs::path(name).parent_path();
    descriptor_t parent(::open(around.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!parent && basekit2::means_absent(errno)) {
        return 0;
    }
    return removeEntry(std::move(parent), around, fs::path(name).filename().native(), &wanted);
}

}  // namespace

std::uintmax_t removeTree(const fs::path& path) {
    return removeEntry(startOf(path), {}, path.native(), nullptr);
}

std::uintmax_t removeTree(const fs::path& path, const FileId& id, const TreeRecord* known) {
    return removeWanted(path, {id, false, known});
}

std::uintmax_t removeTree(const KnownDirectory& tree, const KnownDirectory& inside) {
    const Wanted wanted{tree.id, true};
    if (inside.path.empty()) {
        return tree.id.isKnown() ? removeWanted(tree.path, wanted) : removeTree(tree.path);
    }
    return removeEntry(openInside(inside, tree.path.parent_path()), tree.path.parent_path(),
                       tree.path.filename().native(), tree.id.isKnown() ? &wanted : nullptr);
}

descriptor_t openInside(const KnownDirectory& inside, const fs::path& path) {
    descriptor_t directory(::open(inside.path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory && isAnother(directory.get(), inside.id)) {
        errno = ESTALE;
        return descriptor_t();
    }
    const fs::path below = path.native().substr(inside.path.size());
    for (const fs::path& name : below.relative_path()) {
        if (!directory) {
            break;
        }
        directory = descriptor_t(::openat(directory.get(), name.c_str(),
                                          O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    }
    return directory;
}

}  // namespace vesta2
