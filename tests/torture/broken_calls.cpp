#include "broken_calls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <string_view>

#include "basekit2/bag_io.h"
#include "basekit2/descriptor.h"
#include "basekit2/files.h"
#include "vesta/model/link_file.h"

namespace torture {

std::string brokenCalls = std::getenv("VESTA2_BROKEN") ? std::getenv("VESTA2_BROKEN") : "";
std::function<int(const char* call)> beforeCall;

namespace {

thread_local struct stat opened {};  ///< the lock file that was looked at by its descriptor

bool isLockFile(const std::string& path) { return path.find(".dflgzentor") != std::string::npos; }

bool isBroken(const char* how) { return brokenCalls == how; }

bool fails(const char* call) {
    const int before = errno;
    const int error = beforeCall ? beforeCall(call) : 0;
    errno = error == 0 ? before : error;
    return error != 0;
}

int flagsOf(int flags) { return isBroken("trusting") ? flags & ~(O_NOFOLLOW | O_NONBLOCK) : flags; }

}  // namespace
}  // namespace torture

using torture::fails;
using torture::isBroken;

#define CALL(result, name, parameters, arguments, ...)                                             \
    extern "C" result __real_##name parameters;                                                    \
    extern "C" result __wrap_##name parameters {                                                   \
        if (fails(#name)) {                                                                        \
            return -1;                                                                             \
        }                                                                                          \
        __VA_ARGS__;                                                                               \
        return __real_##name arguments;                                                            \
    }

CALL(int, open, (const char* path, int flags, mode_t mode), (path, torture::flagsOf(flags), mode))
CALL(int, openat, (int from, const char* path, int flags, mode_t mode),
     (from, path, torture::flagsOf(flags), mode))
CALL(int, fcntl, (int file, int command, void* argument), (file, command, argument))
CALL(ssize_t, write, (int file, const void* bytes, size_t size), (file, bytes, size))
/// In two parts, so that one who is killed in between leaves half a record.
CALL(ssize_t, pwrite, (int file, const void* bytes, size_t size, off_t offset),
     (file, bytes, torture::beforeCall&& size > 1 ? size / 2 : size, offset))
CALL(int, unlink, (const char* path), (path))
CALL(
    int, unlinkat, (int from, const char* path, int flags), (from, path, flags),
    if (isBroken("littering") && basekit2::is_bag_temporary(path)) { return 0; })
CALL(
    int, mkdir, (const char* path, mode_t mode), (path, mode),
    if (isBroken("taken") && ::access(path, F_OK) == 0) { return 0; })
CALL(
    int, fsync, (int file), (file), if (isBroken("unflushed")) { return 0; })
CALL(
    int, syncfs, (int file), (file), if (isBroken("unflushed")) { return 0; })
CALL(
    int, close, (int file), (file), static int count = 0;
    if (isBroken("leaking") && ++count % 100 == 0) { return 0; })
CALL(int, renameat2, (int from, const char* old, int to, const char* name, unsigned flags),
     (from, old, to, name, flags))
CALL(int, statx, (int from, const char* path, int flags, unsigned mask, struct statx* file),
     (from, path, flags, mask, file))
CALL(
    int, fstat, (int file, struct stat* found), (file, found), if (isBroken("unlooked")) {
        const int result = __real_fstat(file, found);
        char path[4096] = {};
        ::readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), path, sizeof path - 1) > 0 &&
                torture::isLockFile(path)
            ? void(torture::opened = *found)
            : void();
        return result;
    })
CALL(
    int, lstat, (const char* path, struct stat* found), (path, found),
    if (isBroken("unlooked") && torture::isLockFile(path) && torture::opened.st_ino != 0) {
        *found = torture::opened;
        return 0;
    })
CALL(
    int, renameat, (int from, const char* old, int to, const char* name), (from, old, to, name),
    if (isBroken("in-place") && basekit2::is_bag_temporary(old)) {
        char text[4096];
        const basekit2::descriptor_t read(::openat(from, old, O_RDONLY));
        const basekit2::descriptor_t written(
            ::openat(to, name, O_WRONLY | O_CREAT | O_TRUNC, 0666));
        for (ssize_t size = 0; (size = ::read(read.get(), text, sizeof text)) > 0;) {
            [[maybe_unused]] const ssize_t ignored =
                __real_write(written.get(), text, static_cast<size_t>(size));
        }
        return __real_unlinkat(from, old, 0);
    })
#undef CALL

// readLinkFile of namespace vesta2, as the linker knows it.
#define READ_LINK_FILE                                                                             \
    _ZN6vesta212readLinkFileERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE
#define JOINED(a, b) a##b
#define NAMED(prefix, name) JOINED(prefix, name)
extern "C" vesta2::LinkFile NAMED(__real_, READ_LINK_FILE)(const std::string& path);
extern "C" vesta2::LinkFile NAMED(__wrap_, READ_LINK_FILE)(const std::string& path) {
    vesta2::LinkFile link = NAMED(__real_, READ_LINK_FILE)(path);
    if (isBroken("robbing") && link.state == vesta2::marker_state_t::read) {
        link.state = vesta2::marker_state_t::malformed;
    }
    return link;
}
