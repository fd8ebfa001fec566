// A file system that is another directory seen from a distance: each request of the kernel is
// answered after a delay, nothing is remembered, and what was asked can be logged.
//
// Record locks stay with the kernel, which keeps them for the whole mount: processes exclude each
// other as anywhere, and locking costs no round trip.

#define FUSE_USE_VERSION 312
#include <dirent.h>
#include <fcntl.h>
#include <fuse.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <utility>

namespace {

struct Mount {
    int root = -1;
    std::chrono::microseconds delay{};
    FILE* log = nullptr;
};
Mount s_mount;

/// What was just made or changed is looked at to answer the same request.
thread_local bool t_isAnswered = false;

/// What every request begins with. A file that was opened has no path.
void request(const char* name, const char* path) {
    if (s_mount.log) {
        std::fprintf(s_mount.log, "%s %s\n", name, path ? path : "(open)");
    }
    std::this_thread::sleep_for(s_mount.delay);
}

const char* below(const char* path) { return path[1] == '\0' ? "." : path + 1; }

int outcome(long result) { return result < 0 ? -errno : static_cast<int>(result); }

int made(int result) {
    t_isAnswered = result >= 0;
    return outcome(result);
}

int fileOf(const fuse_file_info* info) { return static_cast<int>(info->fh); }

int keep(int file, fuse_file_info* info) {
    info->fh = static_cast<std::uint64_t>(file);
    return outcome(std::min(file, 0));
}

void* begin(fuse_conn_info* connection, fuse_config* config) {
    connection->want &= ~static_cast<unsigned>(FUSE_CAP_READDIRPLUS);
    config->use_ino = 1;
    config->nullpath_ok = 1;
    config->hard_remove = 1;
    config->entry_timeout = config->attr_timeout = config->negative_timeout = 0;
    return nullptr;
}

int getAttributes(const char* path, struct stat* out, fuse_file_info* info) {
    if (!std::exchange(t_isAnswered, false)) {
        request("getattr", path);
    }
    return outcome(info ? ::fstat(fileOf(info), out)
                        : ::fstatat(s_mount.root, below(path), out, AT_SYMLINK_NOFOLLOW));
}

int readLink(const char* path, char* out, std::size_t size) {
    request("readlink", path);
    const ssize_t length = ::readlinkat(s_mount.root, below(path), out, size - 1);
    out[std::max<ssize_t>(length, 0)] = '\0';
    return length < 0 ? -errno : 0;
}

int makeDirectory(const char* path, mode_t mode) {
    request("mkdir", path);
    return made(::mkdirat(s_mount.root, below(path), mode));
}

int removeFile(const char* path) {
    request("unlink", path);
    return outcome(::unlinkat(s_mount.root, below(path), 0));
}

int removeDirectory(const char* path) {
    request("rmdir", path);
    return outcome(::unlinkat(s_mount.root, below(path), AT_REMOVEDIR));
}

int makeSymbolicLink(const char* to, const char* path) {
    request("symlink", path);
    return made(::symlinkat(to, s_mount.root, below(path)));
}

int renameEntry(const char* from, const char* to, unsigned flags) {
    request("rename", from);
    return outcome(::renameat2(s_mount.root, below(from), s_mount.root, below(to), flags));
}

int changeMode(const char* path, mode_t mode, fuse_file_info* info) {
    request("chmod", path);
    return made(info ? ::fchmod(fileOf(info), mode)
                     : ::fchmodat(s_mount.root, below(path), mode, 0));
}

int changeOwner(const char* path, uid_t user, gid_t group, fuse_file_info* info) {
    request("chown", path);
    return made(info ? ::fchown(fileOf(info), user, group)
                     : ::fchownat(s_mount.root, below(path), user, group, AT_SYMLINK_NOFOLLOW));
}

int truncateFile(const char* path, off_t size, fuse_file_info* info) {
    request("truncate", path);
    if (info) {
        return made(::ftruncate(fileOf(info), size));
    }
    const int file = ::openat(s_mount.root, below(path), O_WRONLY | O_CLOEXEC);
    const int result = file < 0 ? -errno : made(::ftruncate(file, size));
    ::close(file);
    return result;
}

int setTimes(const char* path, const timespec times[2], fuse_file_info* info) {
    request("utimens", path);
    return made(info ? ::futimens(fileOf(info), times)
                     : ::utimensat(s_mount.root, below(path), times, AT_SYMLINK_NOFOLLOW));
}

int openFile(const char* path, fuse_file_info* info) {
    request("open", path);
    return keep(::openat(s_mount.root, below(path), info->flags | O_CLOEXEC | O_NOFOLLOW), info);
}

int createFile(const char* path, mode_t mode, fuse_file_info* info) {
    request("create", path);
    const int file = ::openat(s_mount.root, below(path), info->flags | O_CREAT | O_CLOEXEC, mode);
    made(file);
    return keep(file, info);
}

int readFile(const char* path, char* out, std::size_t size, off_t offset, fuse_file_info* info) {
    request("read", path);
    return outcome(::pread(fileOf(info), out, size, offset));
}

int writeFile(const char* path, const char* text, std::size_t size, off_t offset,
              fuse_file_info* info) {
    request("write", path);
    return outcome(::pwrite(fileOf(info), text, size, offset));
}

int flushFile(const char* path, int, fuse_file_info* info) {
    request("fsync", path);
    return outcome(::fsync(fileOf(info)));
}

/// Nobody waits for that, so it is no request.
int closeFile(const char*, fuse_file_info* info) { return outcome(::close(fileOf(info))); }

int openDirectory(const char* path, fuse_file_info* info) {
    request("opendir", path);
    return keep(::openat(s_mount.root, below(path), O_RDONLY | O_DIRECTORY | O_CLOEXEC), info);
}

/// As much as goes into one answer.
int readDirectory(const char* path, void* buffer, fuse_fill_dir_t fill, off_t offset,
                  fuse_file_info* info, fuse_readdir_flags) {
    request("readdir", path);
    if (::lseek(fileOf(info), offset, SEEK_SET) < 0) {
        return -errno;
    }
    alignas(dirent64) std::array<char, 4096> entries{};
    for (;;) {
        const ssize_t size = ::getdents64(fileOf(info), entries.data(), entries.size());
        if (size <= 0) {
            return outcome(size);
        }
        for (ssize_t at = 0; at < size;) {
            const auto* entry = reinterpret_cast<const dirent64*>(entries.data() + at);
            struct stat kind {};
            kind.st_ino = entry->d_ino;
            kind.st_mode = DTTOIF(entry->d_type);
            if (fill(buffer, entry->d_name, &kind, entry->d_off, fuse_fill_dir_flags{}) != 0) {
                return 0;
            }
            at += entry->d_reclen;
        }
    }
}

int describeFileSystem(const char* path, struct statvfs* out) {
    request("statfs", path);
    return outcome(::fstatvfs(s_mount.root, out));
}

fuse_operations operations() {
    fuse_operations all{};
    all.init = begin;
    all.getattr = getAttributes;
    all.readlink = readLink;
    all.mkdir = makeDirectory;
    all.unlink = removeFile;
    all.rmdir = removeDirectory;
    all.symlink = makeSymbolicLink;
    all.rename = renameEntry;
    all.chmod = changeMode;
    all.chown = changeOwner;
    all.truncate = truncateFile;
    all.utimens = setTimes;
    all.open = openFile;
    all.create = createFile;
    all.read = readFile;
    all.write = writeFile;
    all.fsync = all.fsyncdir = flushFile;
    all.release = all.releasedir = closeFile;
    all.opendir = openDirectory;
    all.readdir = readDirectory;
    all.statfs = describeFileSystem;
    return all;
}

}  // namespace

int main(int count, char** words) {
    if (count < 4 || count > 5) {
        std::fputs("Usage: slow_mount DIRECTORY MOUNT_POINT MICROSECONDS [LOG]\n", stderr);
        return 2;
    }
    s_mount.root = ::open(words[1], O_PATH | O_DIRECTORY | O_CLOEXEC);
    s_mount.delay = std::chrono::microseconds(std::atoi(words[3]));
    s_mount.log = count == 5 ? std::fopen(words[4], "ae") : nullptr;
    if (s_mount.root < 0 || (count == 5 && !s_mount.log)) {
        std::perror("slow_mount");
        return 1;
    }
    if (s_mount.log) {
        ::setvbuf(s_mount.log, nullptr, _IOLBF, 0);
    }
    ::umask(0);
    char foreground[] = "-f";
    char options[] = "-ofsname=slow,max_threads=1000,max_idle_threads=1000";
    char* arguments[] = {words[0], foreground, options, words[2], nullptr};
    const fuse_operations all = operations();
    return fuse_main(4, arguments, &all, nullptr);
}
