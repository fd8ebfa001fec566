// Loaded before the C library: calls as a bad file system answers them. Locks are granted to all, a
// directory is made twice, a file is replaced by first deleting it, nothing can be flushed, and
// what is called "stuck" cannot be deleted. The clock is an hour ahead, and who asks it finds
// p/r000 exchanged with the directory "other".

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <string_view>

namespace {

template <class Call>
Call* real(const char* name) {
    return reinterpret_cast<Call*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

int fcntl(int file, int command, ...) {
    static auto* const next = real<int(int, int, void*)>("fcntl");
    va_list rest;
    va_start(rest, command);
    void* const argument = va_arg(rest, void*);
    va_end(rest);
    return command == F_SETLK ? 0 : next(file, command, argument);
}

int mkdir(const char* path, mode_t mode) {
    static auto* const next = real<int(const char*, mode_t)>("mkdir");
    const int result = next(path, mode);
    return result != 0 && errno == EEXIST ? 0 : result;
}

int rename(const char* from, const char* to) noexcept {
    static auto* const next = real<int(const char*, const char*)>("rename");
    unlink(to);
    usleep(1000);
    return next(from, to);
}

int unlinkat(int directory, const char* name, int flags) {
    static auto* const next = real<int(int, const char*, int)>("unlinkat");
    if (std::string_view(name) == "stuck") {
        errno = EBUSY;
        return -1;
    }
    return next(directory, name, flags);
}

time_t time(time_t* /*out*/) noexcept {
    static auto* const next = real<time_t(time_t*)>("time");
    renameat2(AT_FDCWD, "p/r000", AT_FDCWD, "other", RENAME_EXCHANGE);
    return next(nullptr) + 3600;
}

int fsync(int /*file*/) {
    errno = EIO;
    return -1;
}
}
