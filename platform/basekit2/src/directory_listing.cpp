#include "basekit2/directory_listing.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <utility>

#include "basekit2/file_error.h"
#include "basekit2/uninterrupted.h"

namespace basekit2 {

namespace fs = boost::filesystem;

namespace {

[[noreturn]] void fail(const fs::path& directory) {
    throw_file_error("cannot list the directory", directory);
}

/// A thousand entries or so.
constexpr std::size_t buffer_size = std::size_t{32} * 1024;

/// Freed memory of this size would go back to the kernel, and come again for the next listing.
std::atomic<std::byte*> spare_buffer = nullptr;

descriptor_t open_directory(const char* path, int base = AT_FDCWD) {
    return descriptor_t(uninterrupted(
        [&] { return ::openat(base, path, O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC); }));
}

bool is_dot_or_dots(std::string_view name) { return name == "." || name == ".."; }

}  // namespace

directory_listing_t::directory_listing_t(fs::path directory)
    : m_directory(std::move(directory)), m_descriptor(open_directory(m_directory.c_str())) {
    if (!m_descriptor) {
        fail(m_directory);
    }
}

directory_listing_t::directory_listing_t(fs::path directory, descriptor_t descriptor)
    : m_directory(std::move(directory)), m_descriptor(std::move(descriptor)) {}

std::optional<directory_listing_t> directory_listing_t::if_directory(fs::path path) {
    descriptor_t descriptor = open_directory(path.c_str());
    if (!descriptor && !means_absent(errno)) {
        fail(path);
    }
    return descriptor ? std::optional<directory_listing_t>(std::in_place, std::move(path),
                                                           std::move(descriptor))
                      : std::nullopt;
}

directory_listing_t directory_listing_t::of_entry() const {
    descriptor_t opened = open_directory(m_entry->d_name, descriptor());
    if (!opened) {
        fail(path());
    }
    return {path(), std::move(opened)};
}

void directory_listing_t::recycler_t::operator()(std::byte* buffer) const noexcept {
    delete[] spare_buffer.exchange(buffer);
}

bool directory_listing_t::advance() {
    if (!m_buffer) {
        std::byte* const spare = spare_buffer.exchange(nullptr);
        m_buffer.reset(spare ? spare : new std::byte[buffer_size]);
    }
    if (m_next == m_filled) {
        const ssize_t got = uninterrupted(
            [this] { return ::getdents64(descriptor(), m_buffer.get(), buffer_size); });
        // A directory that was deleted meanwhile has no entries any more.
        if (got < 0 && errno != ENOENT) {
            fail(m_directory);
        }
        m_filled = got > 0 ? static_cast<std::size_t>(got) : 0;
        m_next = 0;
    }
    if (m_next == m_filled) {
        return false;
    }
    m_entry = reinterpret_cast<const dirent64*>(m_buffer.get() + m_next);
    m_next += m_entry->d_reclen;
    return true;
}

bool directory_listing_t::next() {
    while (advance()) {
        if (!is_dot_or_dots(name())) {
            return true;
        }
    }
    return false;
}

std::string directory_listing_t::path() const {
    const std::string& directory = m_directory.native();
    std::string path;
    path.reserve(directory.size() + 1 + name().size());
    path = directory;
    if (!path.empty() && path.back() != '/') {
        path += '/';
    }
    return path.append(name());
}

unsigned char directory_listing_t::look_up(int flags) const {
    struct stat info {};
    if (::fstatat(descriptor(), m_entry->d_name, &info, flags) == 0) {
        return static_cast<unsigned char>(IFTODT(info.st_mode));
    }
    if (!means_absent(errno)) {
        throw_file_error("cannot look at", path());
    }
    return DT_UNKNOWN;
}

unsigned char directory_listing_t::kind() const {
    return m_entry->d_type == DT_UNKNOWN ? look_up(AT_SYMLINK_NOFOLLOW) : m_entry->d_type;
}

unsigned char directory_listing_t::target_kind() const {
    return m_entry->d_type == DT_UNKNOWN || m_entry->d_type == DT_LNK ? look_up(0)
                                                                      : m_entry->d_type;
}

bool directory_listing_t::concerns_entry_alone(const fs::filesystem_error& error) const {
    struct stat info {};
    return means_absent(error.code().value()) ||
           (error.code() == boost::system::errc::permission_denied &&
            ::fstatat(descriptor(), ".", &info, 0) == 0);
}

}  // namespace basekit2
