#include "file_calls.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>

namespace torture {
namespace {

namespace fs = std::filesystem;

/// How a call names a file: a path in this argument, a directory's descriptor in it and a path in
/// the next, or a descriptor in it.
struct Place {
    enum class By { nothing, path, pathAt, descriptor } by = By::nothing;
    unsigned argument = 0;
};
constexpr Place path(unsigned argument) { return {Place::By::path, argument}; }
constexpr Place pathAt(unsigned argument) { return {Place::By::pathAt, argument}; }
constexpr Place descriptor(unsigned argument) { return {Place::By::descriptor, argument}; }

/// What a call may fail with beside EIO, and whether it changes something on the disk.
enum Trait : unsigned { none = 0, noSpace = 1, tooMany = 2, interrupted = 4, change = 8 };

struct Entry {
    long number;
    const char* name;
    unsigned traits;
    Place first;
    Place second{};
};

constexpr std::array entries{
    Entry{SYS_open, "open", tooMany | interrupted, path(0)},
    Entry{SYS_openat, "openat", tooMany | interrupted, pathAt(0)},
    Entry{SYS_openat2, "openat2", tooMany | interrupted, pathAt(0)},
    Entry{SYS_read, "read", interrupted, descriptor(0)},
    Entry{SYS_readv, "readv", interrupted, descriptor(0)},
    Entry{SYS_pread64, "pread64", interrupted, descriptor(0)},
    Entry{SYS_write, "write", change | noSpace | interrupted, descriptor(0)},
    Entry{SYS_writev, "writev", change | noSpace | interrupted, descriptor(0)},
    Entry{SYS_pwrite64, "pwrite64", change | noSpace | interrupted, descriptor(0)},
    Entry{SYS_copy_file_range, "copy_file_range", change | noSpace, descriptor(2), descriptor(0)},
    Entry{SYS_sendfile, "sendfile", change | noSpace, descriptor(0), descriptor(1)},
    Entry{SYS_ioctl, "ioctl(FICLONE)", change | noSpace, descriptor(0)},
    Entry{SYS_fallocate, "fallocate", change | noSpace | interrupted, descriptor(0)},
    Entry{SYS_truncate, "truncate", change | interrupted, path(0)},
    Entry{SYS_ftruncate, "ftruncate", change | interrupted, descriptor(0)},
    Entry{SYS_fsync, "fsync", noSpace | interrupted, descriptor(0)},
    Entry{SYS_fdatasync, "fdatasync", noSpace | interrupted, descriptor(0)},
    Entry{SYS_syncfs, "syncfs", noSpace, descriptor(0)},
    Entry{SYS_fcntl, "fcntl(lock)", interrupted, descriptor(0)},
    Entry{SYS_flock, "flock", interrupted, descriptor(0)},
    Entry{SYS_stat, "stat", none, path(0)},
    Entry{SYS_lstat, "lstat", none, path(0)},
    Entry{SYS_fstat, "fstat", none, descriptor(0)},
    Entry{SYS_newfstatat, "newfstatat", none, pathAt(0)},
    Entry{SYS_statx, "statx", none, pathAt(0)},
    Entry{SYS_statfs, "statfs", none, path(0)},
    Entry{SYS_fstatfs, "fstatfs", none, descriptor(0)},
    Entry{SYS_access, "access", none, path(0)},
    Entry{SYS_faccessat, "faccessat", none, pathAt(0)},
    Entry{SYS_faccessat2, "faccessat2", none, pathAt(0)},
    Entry{SYS_getdents64, "getdents64", none, descriptor(0)},
    Entry{SYS_readlink, "readlink", none, path(0)},
    Entry{SYS_readlinkat, "readlinkat", none, pathAt(0)},
    Entry{SYS_mkdir, "mkdir", change | noSpace, path(0)},
    Entry{SYS_mkdirat, "mkdirat", change | noSpace, pathAt(0)},
    Entry{SYS_rename, "rename", change | noSpace, path(0), path(1)},
    Entry{SYS_renameat, "renameat", change | noSpace, pathAt(0), pathAt(2)},
    Entry{SYS_renameat2, "renameat2", change | noSpace, pathAt(0), pathAt(2)},
    Entry{SYS_link, "link", change | noSpace, path(0), path(1)},
    Entry{SYS_linkat, "linkat", change | noSpace, pathAt(0), pathAt(2)},
    Entry{SYS_symlink, "symlink", change | noSpace, path(1)},
    Entry{SYS_symlinkat, "symlinkat", change | noSpace, pathAt(1)},
    Entry{SYS_unlink, "unlink", change, path(0)},
    Entry{SYS_unlinkat, "unlinkat", change, pathAt(0)},
    Entry{SYS_rmdir, "rmdir", change, path(0)},
    Entry{SYS_chmod, "chmod", change, path(0)},
    Entry{SYS_fchmod, "fchmod", change, descriptor(0)},
    Entry{SYS_fchmodat, "fchmodat", change, pathAt(0)},
    Entry{SYS_chown, "chown", change, path(0)},
    Entry{SYS_fchown, "fchown", change, descriptor(0)},
    Entry{SYS_fchownat, "fchownat", change, pathAt(0)},
    Entry{SYS_utimensat, "utimensat", change, pathAt(0)},
    Entry{SYS_chdir, "chdir", none, path(0)},
};

class Caller {
public:
    Caller(pid_t thread, const user_regs_struct& registers)
        : m_directory("/proc/" + std::to_string(thread)),
          m_thread(thread),
          m_arguments{registers.rdi, registers.rsi, registers.rdx,
                      registers.r10, registers.r8,  registers.r9} {}

    [[nodiscard]] unsigned long long argument(unsigned index) const {
        return m_arguments.at(index);
    }

    /// Absolute and without "." and ".."; empty when nobody can tell.
    [[nodiscard]] std::string resolve(const Place& place) const {
        switch (place.by) {
        case Place::By::path:
            return below(target("cwd"), textAt(argument(place.argument)));
        case Place::By::pathAt: {
            const std::string text = textAt(argument(place.argument + 1));
            const std::string start = file(static_cast<int>(argument(place.argument)));
            return text.empty() ? start : below(start, text);
        }
        case Place::By::descriptor:
            return file(static_cast<int>(argument(place.argument)));
        case Place::By::nothing:
            break;
        }
        return {};
    }

private:
    [[nodiscard]] std::string target(const std::string& link) const {
        std::error_code failed;
        return fs::read_symlink(m_directory + "/" + link, failed).native();
    }

    [[nodiscard]] std::string file(int descriptor) const {
        return target(descriptor == AT_FDCWD ? "cwd" : "fd/" + std::to_string(descriptor));
    }

    [[nodiscard]] std::string below(const std::string& start, const std::string& text) const {
        constexpr std::string_view own = "/proc/self/fd/";
        if (text.rfind(own, 0) == 0) {
            const std::size_t end = std::min(text.find('/', own.size()), text.size());
            const std::string opened = target("fd/" + text.substr(own.size(), end - own.size()));
            return (opened + fs::path(text.substr(end)).lexically_normal().native());
        }
        return (fs::path(start) / text).lexically_normal().native();
    }

    [[nodiscard]] std::string textAt(unsigned long long address) const {
        std::string text;
        std::array<char, 256> piece{};
        while (address != 0 && text.size() < PATH_MAX) {
            // Not across the border of a page, behind which there may be nothing.
            const std::size_t size = piece.size() - address % piece.size();
            iovec here{piece.data(), size};
            iovec there{reinterpret_cast<void*>(address), size};  // NOLINT: an address elsewhere
            if (::process_vm_readv(m_thread, &here, 1, &there, 1, 0) <= 0) {
                break;
            }
            const std::size_t length = ::strnlen(piece.data(), size);
            text.append(piece.data(), length);
            if (length < size) {
                break;
            }
            address += size;
        }
        return text;
    }

    std::string m_directory;
    pid_t m_thread;
    std::array<unsigned long long, 6> m_arguments;
};

bool isMeant(const Entry& entry, const Caller& caller) {
    const auto command = static_cast<int>(caller.argument(1));
    if (entry.number == SYS_fcntl) {
        return command == F_SETLK || command == F_SETLKW || command == F_GETLK;
    }
    return entry.number != SYS_ioctl || caller.argument(1) == FICLONE;
}

unsigned traitsOf(const Entry& entry, const Caller& caller) {
    const bool isOpen = entry.number == SYS_open || entry.number == SYS_openat;
    const auto flags = caller.argument(entry.number == SYS_open ? 1 : 2);
    const bool isMaking = isOpen && (flags & (O_CREAT | O_TRUNC)) != 0;
    return entry.traits | (isMaking ? change | noSpace : none);
}

FileCall describe(const Entry& entry, const Caller& caller, std::string path) {
    const unsigned traits = traitsOf(entry, caller);
    std::vector<int> errors{EIO};
    if ((traits & noSpace) != 0) {
        errors.push_back(ENOSPC);
    }
    if ((traits & tooMany) != 0) {
        errors.push_back(EMFILE);
    }
    if ((traits & interrupted) != 0) {
        errors.push_back(EINTR);
    }
    return {entry.name, std::move(path), std::move(errors), (traits & change) != 0};
}

}  // namespace

std::vector<unsigned> fileCallNumbers() {
    std::vector<unsigned> numbers;
    std::transform(entries.begin(), entries.end(), std::back_inserter(numbers),
                   [](const Entry& entry) { return static_cast<unsigned>(entry.number); });
    return numbers;
}

std::optional<FileCall> fileCall(pid_t thread, const user_regs_struct& registers,
                                 const std::string& root) {
    const auto number = static_cast<long>(registers.orig_rax);
    const auto* const entry = std::find_if(
        entries.begin(), entries.end(), [&](const Entry& each) { return each.number == number; });
    const Caller caller(thread, registers);
    if (entry == entries.end() || !isMeant(*entry, caller)) {
        return std::nullopt;
    }
    for (const Place& place : {entry->first, entry->second}) {
        const std::string path = caller.resolve(place);
        if (path == root || path.rfind(root + "/", 0) == 0) {
            const std::string inner = path == root ? "." : path.substr(root.size() + 1);
            return describe(*entry, caller, inner);
        }
    }
    return std::nullopt;
}

}  // namespace torture
