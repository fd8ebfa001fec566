#include "raw_calls.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string_view>
#include <system_error>

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

std::size_t openOne(const std::string& path) {
    const Stream stream = openStream(path);
    while (const dirent* entry = ::readdir(stream.get())) {
        const std::string_view name = entry->d_name;
        if (name.size() > markerExtension.size() &&
            name.substr(name.size() - markerExtension.size()) == markerExtension) {
            return readFile(below(path, name));
        }
    }
    return 0;
}

}  // namespace

void createRaw(const std::string& directory, std::size_t count, const std::string& text) {
    for (std::size_t i = 0; i < count; ++i) {
        const std::string name = nameOf(i);
        const std::string path = below(directory, name);
        const std::string temporary = below(path, ".new");
        check(::mkdir(path.c_str(), 0777));
        const int file =
            check(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
        check(static_cast<int>(::write(file, text.data(), text.size())));
        check(::close(file));
        check(::rename(temporary.c_str(), below(path, name).append(markerExtension).c_str()));
    }
}

std::size_t openRaw(const std::string& directory, std::size_t count) {
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < count; ++i) {
        bytes += openOne(below(directory, nameOf(i)));
    }
    return bytes;
}

std::size_t listRaw(const std::string& directory) {
    std::size_t bytes = 0;
    const Stream stream = openStream(directory);
    while (const dirent* entry = ::readdir(stream.get())) {
        if (entry->d_type == DT_DIR && entry->d_name[0] != '.') {
            bytes += openOne(below(directory, entry->d_name));
        }
    }
    return bytes;
}

}  // namespace bench
