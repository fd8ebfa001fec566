// Loaded before the C library: calls as a bad file system answers them. Locks are granted to all, a
// directory is made twice, a file is replaced by first deleting it, nothing can be flushed.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

extern "C" {

int fcntl64(int /*file*/, int /*command*/, ...) { return 0; }
int fcntl(int /*file*/, int /*command*/, ...) { return 0; }

int mkdir(const char* path, mode_t mode) {
    static auto* const real =
        reinterpret_cast<int (*)(const char*, mode_t)>(dlsym(RTLD_NEXT, "mkdir"));
    const int result = real(path, mode);
    return result != 0 && errno == EEXIST ? 0 : result;
}

int rename(const char* from, const char* to) noexcept {
    static auto* const real =
        reinterpret_cast<int (*)(const char*, const char*)>(dlsym(RTLD_NEXT, "rename"));
    unlink(to);
    usleep(1000);
    return real(from, to);
}

int fsync(int /*file*/) {
    errno = EIO;
    return -1;
}
}
