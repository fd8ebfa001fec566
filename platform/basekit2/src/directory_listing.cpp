#include "basekit2/directory_listing.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "basekit2/file_error.h"

namespace basekit2 {

namespace fs = boost::filesystem;

namespace {

[[noreturn]] void fail(const fs::path& directory) {
    throw_file_error("cannot list the directory", directory);
}

DIR* open_directory(const fs::path& directory) {
    DIR* stream = nullptr;
    do {
        stream = ::opendir(directory.c_str());
    } while (!stream && errno == EINTR);
    return stream;
}

}  // namespace

directory_listing_t::directory_listing_t(fs::path directory)
    : m_directory(std::move(directory)), m_stream(open_directory(m_directory)) {
    if (!m_stream) {
        fail(m_directory);
    }
}

directory_listing_t::directory_listing_t(fs::path directory, descriptor_t descriptor)
    : m_directory(std::move(directory)), m_stream(::fdopendir(descriptor.get())) {
    if (!m_stream) {
        fail(m_directory);
    }
    static_cast<void>(descriptor.release());
}

bool directory_listing_t::next() {
    do {
        errno = 0;
        m_entry = ::readdir(m_stream.get());
        if (!m_entry && errno != 0) {
            fail(m_directory);
        }
    } while (m_entry && (name() == "." || name() == ".."));
    return m_entry != nullptr;
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
