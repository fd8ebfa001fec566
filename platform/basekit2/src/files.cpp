#include "basekit2/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>

#include "basekit2/descriptor.h"
#include "basekit2/directory_listing.h"
#include "basekit2/uninterrupted.h"

namespace basekit2 {
namespace {

void collect(const std::string& directory, std::string_view mask, bool recursive,
             std::vector<path_t>& found) {
    directory_listing_t listing(directory);
    while (listing.next()) {
        if (listing.kind() != DT_DIR) {
            if (path_t(std::string(listing.name())).match(mask)) {
                found.emplace_back(listing.path());
            }
        } else if (recursive) {
            collect(listing.path(), mask, recursive, found);
        }
    }
}

/// For a file system that has no hard links either: another process may take the name in between.
bool look_and_rename(int directory, const char* from, const char* to) {
    struct stat info {};
    if (::fstatat(directory, to, &info, AT_SYMLINK_NOFOLLOW) == 0) {
        errno = EEXIST;
        return false;
    }
    return errno == ENOENT && ::renameat(directory, from, directory, to) == 0;
}

bool fail(int error) {
    errno = error;
    return false;
}

/// The size of a regular file tells how much to read at once; it may hold more, and less.
bool read_regular(int file, std::size_t limit, std::string& text, struct stat& info) {
    if (::fstat(file, &info) != 0) {
        return false;
    }
    if (!S_ISREG(info.st_mode)) {
        return fail(EINVAL);
    }
    const auto size = static_cast<std::uint64_t>(info.st_size);
    constexpr std::uint64_t unknownSize = 4096;
    const std::uint64_t expected = size > 0 ? size : unknownSize;
    text.resize(static_cast<std::size_t>(std::min<std::uint64_t>(expected, limit)) + 1);
    for (std::size_t length = 0; length <= limit;) {
        const ssize_t got =
            uninterrupted([&] { return ::read(file, text.data() + length, text.size() - length); });
        if (got < 0) {
            return false;
        }
        length += static_cast<std::size_t>(got);
        // As long as the file says that it is, it ends here; one that says nothing is read on.
        if (got == 0 || (length == size && length <= limit)) {
            text.resize(length);
            return true;
        }
        if (length == text.size()) {
            text.resize(std::min(length * 2, limit + 1));
        }
    }
    return fail(EFBIG);
}

}  // namespace

bool read_file(const std::string& path, std::size_t limit, std::string& text) {
    return read_file(path, limit, text, nullptr);
}

bool read_file(const std::string& path, std::size_t limit, std::string& text, struct stat* file) {
    text.clear();
    struct stat info {};
    const descriptor_t descriptor(uninterrupted(
        [&path] { return ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
    if (descriptor && read_regular(descriptor.get(), limit, text, info)) {
        if (file) {
            *file = info;
        }
        return true;
    }
    text.clear();
    return false;
}

void find_files(const path_t& directory, std::string_view mask, bool recursive,
                void (*found)(const path_t& path, void* context), void* context) {
    std::vector<path_t> paths;
    collect(directory.text(), mask, recursive, paths);
    std::sort(paths.begin(), paths.end(),
              [](const path_t& a, const path_t& b) { return a.text() < b.text(); });
    for (const path_t& path : paths) {
        found(path, context);
    }
}

bool remove_file(const path_t& path) { return ::unlink(path.c_str()) == 0; }

bool rename_exclusively(int directory, const char* from, const char* to) {
    if (::renameat2(directory, from, directory, to, RENAME_NOREPLACE) == 0) {
        return true;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return false;
    }
    // Not every file system knows an exclusive rename. A second link is as exclusive.
    if (::linkat(directory, from, directory, to, 0) == 0) {
        return ::unlinkat(directory, from, 0) == 0;
    }
    const bool hasLinks = errno != EPERM && errno != EOPNOTSUPP && errno != ENOSYS;
    return !hasLinks && look_and_rename(directory, from, to);
}

}  // namespace basekit2
