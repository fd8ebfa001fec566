#include "file_calls.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>

namespace torture {
namespace {

namespace fs = std::filesystem;

struct Number {
    long value;
    const char* name;
};
#define CALL(name)                                                                                 \
    Number { SYS_##name, #name }

/// Calls that name their files in the same places and can fail with the same errors. A place is the
/// number of an argument that is a path ("p"), or the descriptor of a directory before a path
/// ("a"), or a descriptor ("d").
struct Group {
    unsigned traits;
    std::string_view places;
    std::vector<Number> calls;
};

const std::vector<Group>& groups() {
    constexpr unsigned written = changes | writes | noSpace;
    constexpr unsigned named = changes | names | noSpace;
    static const std::vector<Group> all{
        {tooMany | interrupted, "p0", {CALL(open)}},
        {tooMany | interrupted, "a0", {CALL(openat), CALL(openat2)}},
        {interrupted, "d0", {CALL(read), CALL(readv), CALL(pread64), CALL(fcntl), CALL(flock)}},
        {written | interrupted, "d0", {CALL(write), CALL(writev), CALL(pwrite64), CALL(fallocate)}},
        {written, "d2d0", {CALL(copy_file_range)}},
        {written, "d0d1", {CALL(sendfile)}},
        {written, "d0", {CALL(ioctl)}},
        {changes | interrupted, "p0", {CALL(truncate)}},
        {changes | interrupted, "d0", {CALL(ftruncate)}},
        {flushes | noSpace | interrupted, "d0", {CALL(fsync), CALL(fdatasync)}},
        {flushes | noSpace, "d0", {CALL(syncfs)}},
        {0,
         "p0",
         {CALL(stat), CALL(lstat), CALL(statfs), CALL(access), CALL(readlink), CALL(chdir)}},
        {0, "d0", {CALL(fstat), CALL(fstatfs), CALL(getdents64)}},
        {0,
         "a0",
         {CALL(newfstatat), CALL(statx), CALL(faccessat), CALL(faccessat2), CALL(readlinkat)}},
        {named, "p0", {CALL(mkdir)}},
        {named, "a0", {CALL(mkdirat)}},
        {named, "p0p1", {CALL(rename), CALL(link)}},
        {named, "a0a2", {CALL(renameat), CALL(renameat2), CALL(linkat)}},
        {named, "p1", {CALL(symlink)}},
        {named, "a1", {CALL(symlinkat)}},
        {changes | names, "p0", {CALL(unlink), CALL(rmdir)}},
        {changes | names, "a0", {CALL(unlinkat)}},
        {changes, "p0", {CALL(chmod), CALL(chown)}},
        {changes, "d0", {CALL(fchmod), CALL(fchown)}},
        {changes, "a0", {CALL(fchmodat), CALL(fchownat), CALL(utimensat)}},
    };
    return all;
}
#undef CALL

/// Of a process, by its directory in /proc.
std::string target(const std::string& process, const std::string& link) {
    std::error_code failed;
    return fs::read_symlink(process + link, failed).native();
}

/// Absolute and without "." and ".."; empty when nobody can tell.
std::string resolve(const std::string& process, char kind, const unsigned long long* argument) {
    const int start = kind == 'p' ? AT_FDCWD : static_cast<int>(*argument);
    const std::string from =
        target(process, start == AT_FDCWD ? "cwd" : "fd/" + std::to_string(start));
    if (kind == 'd') {
        return from;
    }
    std::string text;
    std::ifstream memory(process + "mem", std::ios::binary);
    memory.seekg(static_cast<std::streamoff>(argument[kind == 'a' ? 1 : 0]));
    std::getline(memory, text, '\0');
    constexpr std::string_view own = "/proc/self/fd/";
    if (text.rfind(own, 0) == 0) {
        const std::size_t end = std::min(text.find('/', own.size()), text.size());
        const std::string opened = target(process, text.substr(11, end - 11));
        return opened + fs::path(text.substr(end)).lexically_normal().native();
    }
    return text.empty() ? from : (fs::path(from) / text).lexically_normal().native();
}

/// Of the calls that do many things, those that lock, or clone a file.
bool isMeant(long number, unsigned long long command) {
    return number == SYS_fcntl   ? command == F_SETLK || command == F_SETLKW || command == F_GETLK
           : number == SYS_ioctl ? command == FICLONE
                                 : true;
}

}  // namespace

std::vector<int> FileCall::errors() const {
    std::vector<int> possible{EIO};
    for (const auto& [trait, error] :
         {std::pair{noSpace, ENOSPC}, {tooMany, EMFILE}, {interrupted, EINTR}}) {
        if (is(trait)) {
            possible.push_back(error);
        }
    }
    return possible;
}

std::vector<unsigned> fileCallNumbers() {
    std::vector<unsigned> numbers;
    for (const Group& group : groups()) {
        for (const Number& number : group.calls) {
            numbers.push_back(static_cast<unsigned>(number.value));
        }
    }
    return numbers;
}

std::optional<FileCall> fileCall(pid_t thread, const user_regs_struct& registers,
                                 const std::string& root) {
    const auto wanted = static_cast<long>(registers.orig_rax);
    const unsigned long long arguments[] = {registers.rdi, registers.rsi, registers.rdx,
                                            registers.r10};
    const bool isOpen = wanted == SYS_open || wanted == SYS_openat;
    const auto flags = isOpen ? arguments[wanted == SYS_open ? 1 : 2] : 0;
    const unsigned made = (flags & (O_CREAT | O_TRUNC)) != 0 ? changes | names | noSpace : 0U;
    for (const Group& group : groups()) {
        const auto call = std::ranges::find(group.calls, wanted, &Number::value);
        for (std::size_t i = 0; call != group.calls.end() && i < group.places.size(); i += 2) {
            const std::string path =
                resolve("/proc/" + std::to_string(thread) + "/", group.places[i],
                        arguments + (group.places[i + 1] - '0'));
            if ((path + "/").rfind(root + "/", 0) == 0 && isMeant(wanted, arguments[1])) {
                const std::string inner = path == root ? "." : path.substr(root.size() + 1);
                return FileCall{call->name, inner, group.traits | made};
            }
        }
    }
    return std::nullopt;
}

}  // namespace torture
