#include "broken_calls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <boost/filesystem/path.hpp>
#include <cerrno>
#include <cstdlib>
#include <optional>

#include "basekit2/bag_io.h"
#include "basekit2/descriptor.h"
#include "vesta/model/link_file.h"

namespace torture {

std::string brokenCalls = std::getenv("VESTA2_BROKEN") ? std::getenv("VESTA2_BROKEN") : "";
std::function<int(const char* call)> beforeCall;

namespace {

thread_local struct stat opened {};  ///< the lock file that was looked at by its descriptor

bool isLockFile(const std::string& path) { return path.find(".dflgzentor") != std::string::npos; }

bool isBroken(const char* how) { return brokenCalls.find(how) != std::string::npos; }

bool fails(const char* call) {
    const int before = errno;
    const int error = beforeCall ? beforeCall(call) : 0;
    errno = error == 0 ? before : error;
    return error != 0;
}

int flagsOf(int flags) { return isBroken("trusting") ? flags & ~(O_NOFOLLOW | O_NONBLOCK) : flags; }

// What a broken call returns instead of being made.
using Instead = std::optional<int>;
constexpr Instead asAlways;

Instead nothingIf(bool isNothing) { return isNothing ? Instead(0) : asAlways; }

Instead nothingOfHundred() {
    static std::atomic<int> count{0};
    return nothingIf(isBroken("leaking") && ++count % 100 == 0);
}

Instead noteLockFile(int file) {
    if (isBroken("unlooked")) {  // else without memory, of which others may have none
        char path[4096] = {};
        const std::string link = "/proc/self/fd/" + std::to_string(file);
        if (::readlink(link.c_str(), path, sizeof path - 1) > 0 && isLockFile(path)) {
            ::fstatat(file, "", &opened, AT_EMPTY_PATH);
        }
    }
    return asAlways;
}

Instead lookAtOpened(const char* path, struct stat* found) {
    if (isBroken("trusting")) {
        return ::stat(path, found);
    }
    if (!isBroken("unlooked") || !isLockFile(path) || opened.st_ino == 0) {
        return asAlways;
    }
    *found = opened;
    return 0;
}

Instead writeInPlace(int from, const char* old, int to, const char* name) {
    if (!isBroken("in-place") || !basekit2::is_bag_temporary(old)) {
        return asAlways;
    }
    char text[4096];
    const basekit2::descriptor_t in(::openat(from, old, O_RDONLY));
    const basekit2::descriptor_t out(::openat(to, name, O_WRONLY | O_CREAT | O_TRUNC, 0666));
    for (ssize_t size = 0; (size = ::read(in.get(), text, sizeof text)) > 0;) {
        if (::write(out.get(), text, static_cast<size_t>(size)) != size) {
            return -1;
        }
    }
    return ::unlinkat(from, old, 0);
}

}  // namespace
}  // namespace torture

using namespace torture;

#define CALL(result, name, parameters, arguments, instead)                                         \
    extern "C" result __real_##name parameters;                                                    \
    extern "C" result __wrap_##name parameters {                                                   \
        if (fails(#name)) {                                                                        \
            return -1;                                                                             \
        }                                                                                          \
        const Instead done = instead;                                                              \
        return done ? *done : __real_##name arguments;                                             \
    }

CALL(int, open, (const char* path, int flags, mode_t mode), (path, flagsOf(flags), mode), asAlways)
CALL(int, openat, (int from, const char* path, int flags, mode_t mode),
     (from, path, flagsOf(flags), mode), asAlways)
CALL(int, fcntl, (int file, int command, void* argument), (file, command, argument), asAlways)
CALL(ssize_t, write, (int file, const void* bytes, size_t size), (file, bytes, size), asAlways)
// In two parts, so that one who is killed in between leaves half a record.
CALL(ssize_t, pwrite, (int file, const void* bytes, size_t size, off_t offset),
     (file, bytes, beforeCall != nullptr && size > 1 ? size / 2 : size, offset), asAlways)
CALL(int, unlink, (const char* path), (path), asAlways)
CALL(int, unlinkat, (int from, const char* path, int flags), (from, path, flags),
     nothingIf(isBroken("littering") && basekit2::is_bag_temporary(path)))
CALL(int, fsync, (int file), (file), nothingIf(isBroken("unflushed")))
CALL(int, syncfs, (int file), (file), nothingIf(isBroken("unflushed")))
CALL(int, close, (int file), (file), nothingOfHundred())
CALL(int, renameat2, (int from, const char* old, int to, const char* name, unsigned flags),
     (from, old, to, name, flags), asAlways)
CALL(int, renameat, (int from, const char* old, int to, const char* name), (from, old, to, name),
     writeInPlace(from, old, to, name))
CALL(int, statx, (int from, const char* path, int flags, unsigned mask, struct statx* file),
     (from, path, isBroken("trusting") ? flags & ~AT_SYMLINK_NOFOLLOW : flags, mask, file),
     asAlways)
CALL(int, fstat, (int file, struct stat* found), (file, found), noteLockFile(file))
CALL(int, lstat, (const char* path, struct stat* found), (path, found), lookAtOpened(path, found))
#undef CALL

extern "C" time_t __real_time(time_t* now);
extern "C" time_t __wrap_time(time_t* now) {
    return __real_time(now) + (isBroken("ahead") ? 3600 : 0);
}

// Two functions of C++, as the linker knows them: Boost's that makes a directory, and ours that
// reads a link.
namespace bfs = boost::filesystem;
#define CREATE_DIRECTORY(prefix)                                                                   \
    prefix##_ZN5boost10filesystem6detail16create_directoryERKNS0_4pathEPS3_PNS_6system10error_codeE
#define READ_LINK_FILE(prefix)                                                                     \
    prefix##_ZN6vesta212readLinkFileERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE
extern "C" {
bool CREATE_DIRECTORY(__real_)(const bfs::path& path, const bfs::path* model,
                               boost::system::error_code* error);
bool CREATE_DIRECTORY(__wrap_)(const bfs::path& path, const bfs::path* model,
                               boost::system::error_code* error) {
    return CREATE_DIRECTORY(__real_)(path, model, error) || isBroken("taken");
}

vesta2::LinkFile READ_LINK_FILE(__real_)(const std::string& path);
vesta2::LinkFile READ_LINK_FILE(__wrap_)(const std::string& path) {
    vesta2::LinkFile link = READ_LINK_FILE(__real_)(path);
    if (isBroken("robbing") && link.state == vesta2::marker_state_t::read) {
        link.state = vesta2::marker_state_t::malformed;
    }
    return link;
}
}
