#include "collector/result_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <utility>

#include "base/failure.h"
#include "basekit2/uninterrupted.h"
#include "collector/record_file.h"

namespace cli {
namespace {

/// The descriptor that a path stands for, if any.
std::optional<int> namedDescriptor(std::string_view path) {
    if (path == "/dev/stdout" || path == "/dev/stderr") {
        return path == "/dev/stdout" ? STDOUT_FILENO : STDERR_FILENO;
    }
    for (const std::string_view folder : {"/dev/fd/", "/proc/self/fd/"}) {
        int number = 0;
        const char* const end = path.data() + path.size();
        if (path.starts_with(folder) &&
            std::from_chars(path.data() + folder.size(), end, number).ptr == end) {
            return number;
        }
    }
    return std::nullopt;
}

void writeAll(int file, std::string_view text, const std::string& path) {
    while (!text.empty()) {
        const ssize_t written =
            basekit2::uninterrupted([&] { return ::write(file, text.data(), text.size()); });
        if (written < 0) {
            throw Failure::fromErrno(errno, path);
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

std::string parentOf(const std::string& path) {
    const std::string parent = std::filesystem::path(path).parent_path().native();
    return parent.empty() ? "." : parent;
}

}  // namespace

ResultFile::ResultFile(std::string path) : m_path(std::move(path)) {
    if (const std::optional<int> number = namedDescriptor(m_path)) {
        m_isStraight = true;
        const int mode = ::fcntl(*number, F_GETFL);
        if (mode < 0 || (mode & O_ACCMODE) == O_RDONLY) {
            throw Failure(exitUsage, m_path, "is not open for writing",
                          "open it, as with '" + std::to_string(*number) + ">FILE'");
        }
        m_inherited = basekit2::descriptor_t(::fcntl(*number, F_DUPFD_CLOEXEC, 3));
        return;
    }
    struct stat status {};
    const bool isThere = ::lstat(m_path.c_str(), &status) == 0;
    if (!isThere && errno != ENOENT) {
        throw Failure::fromErrno(errno, m_path);
    }
    m_isStraight = isThere && !S_ISREG(status.st_mode);
    std::error_code unknown;
    if (std::filesystem::is_directory(m_path, unknown)) {
        throw Failure(exitUsage, m_path, "cannot be written as a file", "name a file");
    }
    const std::string place = m_isStraight ? m_path : parentOf(m_path);
    // A symbolic link may lead to what is not there yet.
    if (::access(place.c_str(), m_isStraight ? W_OK : W_OK | X_OK) != 0 &&
        !(m_isStraight && errno == ENOENT)) {
        throw Failure::fromErrno(errno, place);
    }
}

void ResultFile::write(std::string_view text) const {
    if (m_inherited) {
        writeAll(m_inherited.get(), text, m_path);
    } else if (m_isStraight) {
        // Without a reader a pipe would be waited for without end.
        const basekit2::descriptor_t file(
            ::open(m_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, 0666));
        if (!file) {
            throw errno == ENXIO ? Failure(exitFailure, m_path, "nobody reads from it")
                                 : Failure::fromErrno(errno, m_path);
        }
        ::fcntl(file.get(), F_SETFL, 0);
        writeAll(file.get(), text, m_path);
    } else {
        replace(text);
    }
}

void ResultFile::replace(std::string_view text) const {
    const std::string temporary = parentOf(m_path) + "/.result-" + std::to_string(::getpid());
    basekit2::descriptor_t file(
        ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!file) {
        throw Failure::fromErrno(errno, temporary);
    }
    try {
        writeAll(file.get(), text, m_path);
        if (::fsync(file.get()) != 0 || !file.close() ||
            ::rename(temporary.c_str(), m_path.c_str()) != 0) {
            throw Failure::fromErrno(errno, m_path);
        }
    } catch (const Failure&) {
        ::unlink(temporary.c_str());
        throw;
    }
    flushDirectory(parentOf(m_path));
}

}  // namespace cli
