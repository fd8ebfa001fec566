#include "directory_listing.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "../foundation/file_checks.h"

namespace vesta2 {

namespace fs = boost::filesystem;

namespace {

[[noreturn]] void fail(const fs::path& directory) {
    throw fs::filesystem_error("cannot list the directory", directory,
                               boost::system::error_code(errno, boost::system::system_category()));
}

}  // namespace

DirectoryListing::DirectoryListing(fs::path directory)
    : m_directory(std::move(directory)), m_stream(::opendir(m_directory.c_str())) {
    if (!m_stream) {
        fail(m_directory);
    }
}

DirectoryListing::DirectoryListing(fs::path directory, basekit2::descriptor_t descriptor)
    : m_directory(std::move(directory)), m_stream(::fdopendir(descriptor.get())) {
    if (!m_stream) {
        fail(m_directory);
    }
    static_cast<void>(descriptor.release());
}

bool DirectoryListing::next() {
    do {
        errno = 0;
        m_entry = ::readdir(m_stream.get());
        if (!m_entry && errno != 0) {
            fail(m_directory);
        }
    } while (m_entry && (name() == "." || name() == ".."));
    return m_entry != nullptr;
}

std::string DirectoryListing::path() const {
    const std::string& directory = m_directory.native();
    std::string path;
    path.reserve(directory.size() + 1 + name().size());
    path = directory;
    if (!path.empty() && path.back() != '/') {
        path += '/';
    }
    return path.append(name());
}

unsigned char DirectoryListing::kind() const {
    struct stat info {};
    if (m_entry->d_type != DT_UNKNOWN ||
        ::fstatat(descriptor(), m_entry->d_name, &info, AT_SYMLINK_NOFOLLOW) != 0) {
        return m_entry->d_type;
    }
    return static_cast<unsigned char>(IFTODT(info.st_mode));
}

bool DirectoryListing::isDirectory() const {
    if (m_entry->d_type != DT_UNKNOWN && m_entry->d_type != DT_LNK) {
        return m_entry->d_type == DT_DIR;
    }
    return vesta2::isDirectory(path());
}

bool DirectoryListing::isRegularFile() const {
    if (m_entry->d_type != DT_UNKNOWN && m_entry->d_type != DT_LNK) {
        return m_entry->d_type == DT_REG;
    }
    return vesta2::isRegularFile(path());
}

}  // namespace vesta2
