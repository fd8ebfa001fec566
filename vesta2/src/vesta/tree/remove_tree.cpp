#include "remove_tree.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string_view>

#include "basekit2/descriptor.h"
#include "tree_error.h"

namespace vesta2 {

namespace fs = boost::filesystem;
using basekit2::descriptor_t;

namespace {

/// A file system may leave entries out of a listing while others are deleted; each further pass
/// deletes what the one before missed.
constexpr int mostPasses = 16;

[[noreturn]] void fail(const fs::path& path) { throwTreeError("cannot delete", path); }

/// Works on descriptors alone, so that no name is looked up twice and none leads out of the tree.
class Remover {
public:
    /// Deletes the entry `name` of the directory that `parent` is open on and that `place` names in
    /// messages.
    void removeEntry(int parent, const char* name, bool directoryExpected, const fs::path& place) {
        if (!directoryExpected) {
            if (unlink(parent, name, 0)) {
                return;
            }
            if (errno != EISDIR && errno != EPERM) {
                fail(place / name);
            }
        }
        descriptor_t directory(
            ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        if (directory) {
            removeDirectory(parent, name, std::move(directory), place / name);
        } else if (errno == ENOTDIR || errno == ELOOP) {
            if (!unlink(parent, name, 0)) {
                fail(place / name);
            }
        } else if (errno != ENOENT) {
            fail(place / name);
        }
    }

    [[nodiscard]] std::uintmax_t count() const { return m_count; }

private:
    struct Closer {
        void operator()(DIR* stream) const { ::closedir(stream); }
    };

    /// True when the entry is gone, by us or by somebody else.
    bool unlink(int parent, const char* name, int flags) {
        if (::unlinkat(parent, name, flags) == 0) {
            ++m_count;
            return true;
        }
        return errno == ENOENT;
    }

    void removeDirectory(int parent, const char* name, descriptor_t directory,
                         const fs::path& path) {
        const std::unique_ptr<DIR, Closer> stream(::fdopendir(directory.get()));
        if (!stream) {
            fail(path);
        }
        static_cast<void>(directory.release());
        for (int pass = 0; pass < mostPasses; ++pass) {
            removeEntries(stream.get(), path);
            if (unlink(parent, name, AT_REMOVEDIR)) {
                return;
            }
            if (errno != ENOTEMPTY && errno != EEXIST) {
                fail(path);
            }
            ::rewinddir(stream.get());
        }
        errno = ENOTEMPTY;
        fail(path);
    }

    void removeEntries(DIR* stream, const fs::path& path) {
        for (;;) {
            errno = 0;
            const dirent* entry = ::readdir(stream);
            if (!entry) {
                if (errno != 0) {
                    fail(path);
                }
                return;
            }
            const std::string_view name = entry->d_name;
            if (name != "." && name != "..") {
                removeEntry(::dirfd(stream), entry->d_name, entry->d_type == DT_DIR, path);
            }
        }
    }

    std::uintmax_t m_count = 0;
};

/// Opens the directory `path` step by step from `inside` on, following no symbolic link on the way;
/// none, with errno, when one is there or a step fails.
descriptor_t openInside(const fs::path& inside, const fs::path& path) {
    descriptor_t directory(::open(inside.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const fs::path below = path.native().substr(inside.size());
    for (const fs::path& name : below.relative_path()) {
        if (!directory) {
            break;
        }
        directory = descriptor_t(::openat(directory.get(), name.c_str(),
                                          O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    }
    return directory;
}

}  // namespace

std::uintmax_t removeTree(const fs::path& path, const fs::path& inside) {
    Remover remover;
    if (inside.empty()) {
        remover.removeEntry(AT_FDCWD, path.c_str(), true, fs::path());
        return remover.count();
    }
    const descriptor_t parent = openInside(inside, path.parent_path());
    if (!parent) {
        fail(path);
    }
    remover.removeEntry(parent.get(), path.filename().c_str(), true, path.parent_path());
    return remover.count();
}

bool staysInside(const fs::path& inside, const fs::path& path) {
    return static_cast<bool>(openInside(inside, path));
}

}  // namespace vesta2
