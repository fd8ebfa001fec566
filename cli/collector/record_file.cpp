#include "collector/record_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "base/failure.h"
#include "basekit2/uninterrupted.h"

namespace cli {

RecordFile::RecordFile(int directory, const std::string& path, const std::string& name)
    : m_path(path + "/" + name), m_file(basekit2::uninterrupted([&] {
          return ::openat(directory, name.c_str(),
                          O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666);
      })) {
    if (!m_file) {
        throw Failure::fromErrno(errno, m_path);
    }
}

void RecordFile::append(std::string_view text) {
    while (!text.empty() && m_error == 0) {
        const ssize_t written = ::write(m_file.get(), text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            m_error = errno;
        }
    }
}

void RecordFile::settle() {
    if (m_error == 0 && basekit2::uninterrupted([&] { return ::fsync(m_file.get()); }) != 0) {
        m_error = errno;
    }
    if (m_error != 0) {
        throw Failure::fromErrno(m_error, m_path);
    }
    flushDirectory(std::filesystem::path(m_path).parent_path());
}

void flushDirectory(const std::string& path) {
    const basekit2::descriptor_t directory(basekit2::uninterrupted(
        [&] { return ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    // Some file systems cannot flush a directory, and say so with EINVAL.
    if (!directory || (basekit2::uninterrupted([&] { return ::fsync(directory.get()); }) != 0 &&
                       errno != EINVAL)) {
        throw Failure::fromErrno(errno, path);
    }
}

}  // namespace cli
