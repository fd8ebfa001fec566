#include "raw_calls.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <memory>
#include <numeric>
#include <string_view>
#include <system_error>
#include <vector>

namespace bench {
namespace {

constexpr std::string_view markerExtension = ".zentor";

int check(int result) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category());
    }
    return result;
}

struct Closer {
    void operator()(DIR* stream) const { ::closedir(stream); }
};
using Stream = std::unique_ptr<DIR, Closer>;

Stream openStream(const std::string& path) {
    Stream stream(::opendir(path.c_str()));
    check(stream ? 0 : -1);
    return stream;
}

std::string nameOf(std::size_t number) {
    std::array<char, 32> name{};
    std::snprintf(name.data(), name.size(), "r%05zu", number);
    return name.data();
}

std::string below(std::string directory, std::string_view name) {
    return directory.append("/").append(name);
}

std::size_t readFile(const std::string& path) {
    std::array<char, 4096> buffer{};
    const int file = check(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat info {};
    check(::fstat(file, &info));
    const ssize_t got = ::read(file, buffer.data(), buffer.size());
    ::close(file);
    return static_cast<std::size_t>(got);
}

/// The marker file in the directory `path`; empty without one.
std::string findOne(const std::string& path) {
    const Stream stream = openStream(path);
    while (const dirent* entry = ::readdir(stream.get())) {
        const std::string_view name = entry->d_name;
        if (name.ends_with(markerExtension)) {
            return below(path, name);
        }
    }
    return {};
}

std::size_t openOne(const std::string& path) {
    const std::string marker = findOne(path);
    return marker.empty() ? 0 : readFile(marker);
}

/// Calls `visit` with the path of each directory in `directory`.
template <class Visit>
void forEachDirectory(const std::string& directory, const Visit& visit) {
    const Stream stream = openStream(directory);
    while (const dirent* entry = ::readdir(stream.get())) {
        if (entry->d_type == DT_DIR && entry->d_name[0] != '.') {
            visit(below(directory, entry->d_name));
        }
    }
}

/// Writes the new file, and returns it open.
int writeNew(const std::string& path, const std::string& text) {
    const int file = check(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    check(static_cast<int>(::write(file, text.data(), text.size())));
    return file;
}

void writeMarker(const std::string& path, const std::string& name, const std::string& text) {
    const std::string temporary = below(path, ".new");
    check(::close(writeNew(temporary, text)));
    check(::rename(temporary.c_str(), below(path, name).append(markerExtension).c_str()));
}

}  // namespace

void createRaw(const std::string& directory, std::size_t count, const std::string& text) {
    for (std::size_t i = 0; i < count; ++i) {
        const std::string path = below(directory, nameOf(i));
        check(::mkdir(path.c_str(), 0777));
        writeMarker(path, nameOf(i), text);
    }
}

void createByScanRaw(const std::string& directory, std::size_t count, const std::string& text) {
    for (std::size_t i = 0; i < count; ++i) {
        std::size_t number = 0;
        forEachDirectory(directory, [&](const std::string& path) {
            number =
                std::max<std::size_t>(number, std::stoul(path.substr(directory.size() + 2)) + 1);
        });
        while (::mkdir(below(directory, nameOf(number)).c_str(), 0777) != 0) {
            check(errno == EEXIST ? 0 : -1);
            ++number;
        }
        writeMarker(below(directory, nameOf(number)), nameOf(number), text);
    }
}

std::size_t findRaw(const std::string& directory) {
    std::vector<std::string> found;
    forEachDirectory(directory, [&](const std::string& path) { found.push_back(findOne(path)); });
    std::sort(found.begin(), found.end());
    return found.size();
}

std::size_t purgeRaw(const std::string& directory) {
    std::size_t bytes = 0;
    forEachDirectory(directory, [&](const std::string& path) {
        const std::string marker = findOne(path);
        bytes += readFile(marker);
        check(::unlink(marker.c_str()));
        check(::rmdir(path.c_str()));
    });
    return bytes;
}

std::size_t openRaw(const std::string& directory, std::size_t begin, std::size_t end) {
    std::size_t bytes = 0;
    for (std::size_t i = begin; i < end; ++i) {
        bytes += openOne(below(directory, nameOf(i)));
    }
    return bytes;
}

std::size_t listRaw(const std::string& directory) {
    std::size_t bytes = 0;
    forEachDirectory(directory, [&](const std::string& path) { bytes += openOne(path); });
    return bytes;
}

std::size_t lastRaw(const std::string& directory, std::size_t count) {
    // A node's place in the order is that of its marker file's name.
    std::vector<std::string> found;
    forEachDirectory(directory, [&](const std::string& path) { found.push_back(findOne(path)); });
    count = std::min(count, found.size());
    const auto end = found.begin() + static_cast<std::ptrdiff_t>(count);
    std::partial_sort(found.begin(), end, found.end(), std::greater<>());
    return std::accumulate(
        found.begin(), end, std::size_t{0},
        [](std::size_t bytes, const std::string& path) { return bytes + readFile(path); });
}

void saveRaw(const std::string& path, const std::string& text) {
    const std::string directory = path.substr(0, path.rfind('/'));
    const std::string temporary = below(directory, ".new");
    const int file = writeNew(temporary, text);
    check(::fsync(file));
    check(::close(file));
    check(::rename(temporary.c_str(), path.c_str()));
    const int place = check(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    check(::fsync(place));
    check(::close(place));
}

void lookRaw(const std::string& path) {
    struct stat info {};
    check(::lstat(path.c_str(), &info));
}

void copyRaw(const std::string& source, const std::string& target) {
    constexpr off_t large = off_t{64} * 1024;
    std::array<char, large> buffer{};
    check(::mkdir(target.c_str(), 0777));
    const Stream stream = openStream(source);
    const int from = ::dirfd(stream.get());
    const int to = check(::open(target.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    while (const dirent* entry = ::readdir(stream.get())) {
        const char* name = entry->d_name;
        if (entry->d_type == DT_DIR && std::string_view(name) != "." &&
            std::string_view(name) != "..") {
            copyRaw(below(source, name), below(target, name));
        }
        if (entry->d_type != DT_REG) {
            continue;
        }
        const int in = check(::openat(from, name, O_RDONLY | O_CLOEXEC));
        struct stat info {};
        check(::fstat(in, &info));
        const int out =
            check(::openat(to, name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, info.st_mode));
        for (off_t left = info.st_size; left > 0;) {
            const auto size = static_cast<std::size_t>(left);
            const ssize_t got = info.st_size > large
                                    ? ::copy_file_range(in, nullptr, out, nullptr, size, 0)
                                    : ::read(in, buffer.data(), size);
            check(got > 0 ? 0 : -1);
            if (info.st_size <= large) {
                check(static_cast<int>(::write(out, buffer.data(), static_cast<std::size_t>(got))));
            }
            left -= got;
        }
        const std::array times{info.st_atim, info.st_mtim};
        check(::fchmod(out, info.st_mode));
        check(::futimens(out, times.data()));
        check(::close(out));
        ::close(in);
    }
    ::close(to);
}

void claimRaw(const std::string& path, const std::string& text) {
    constexpr int flags = O_RDWR | O_CREAT | O_DSYNC | O_CLOEXEC;
    const std::string infoPath = path + ".info";
    struct flock lock {};
    lock.l_type = F_WRLCK;
    const int file = check(::open(path.c_str(), flags, 0644));
    check(::fcntl(file, F_SETLK, &lock));
    const int info = check(::open(infoPath.c_str(), flags, 0644));
    check(::fcntl(info, F_SETLK, &lock));
    check(static_cast<int>(::write(info, text.data(), text.size())));
    ::close(info);
    check(::unlink(path.c_str()));
    check(::unlink(infoPath.c_str()));
    ::close(file);
}

std::size_t sizeRaw(const std::string& directory) {
    std::size_t bytes = 0;
    const Stream stream = openStream(directory);
    while (const dirent* entry = ::readdir(stream.get())) {
        const std::string_view name = entry->d_name;
        struct stat info {};
        if (entry->d_type == DT_DIR && name != "." && name != "..") {
            bytes += sizeRaw(below(directory, name));
        } else if (entry->d_type == DT_REG) {
            check(::fstatat(::dirfd(stream.get()), entry->d_name, &info, AT_SYMLINK_NOFOLLOW));
            bytes += static_cast<std::size_t>(info.st_size);
        }
    }
    return bytes;
}

}  // namespace bench
