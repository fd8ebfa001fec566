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

struct Number {
    long value;
    const char* name;
};
#define CALL(name)                                                                                 \
    Number { SYS_##name, #name }

/// Calls that name their files in the same places and can fail with the same errors.
struct Group {
    unsigned traits;
    std::array<Place, 2> places;
    std::vector<Number> calls;
};

const std::vector<Group>& groups() {
    constexpr unsigned none = 0;
    constexpr unsigned written = changes | writes | noSpace;
    constexpr unsigned named = changes | names | noSpace;
    static const std::vector<Group> all{
        {tooMany | interrupted, {path(0)}, {CALL(open)}},
        {tooMany | interrupted, {pathAt(0)}, {CALL(openat), CALL(openat2)}},
        {interrupted,
         {descriptor(0)},
         {CALL(read), CALL(readv), CALL(pread64), CALL(fcntl), CALL(flock)}},
        {written | interrupted,
         {descriptor(0)},
         {CALL(write), CALL(writev), CALL(pwrite64), CALL(fallocate)}},
        {written, {descriptor(2), descriptor(0)}, {CALL(copy_file_range)}},
        {written, {descriptor(0), descriptor(1)}, {CALL(sendfile)}},
        {written, {descriptor(0)}, {CALL(ioctl)}},
        {changes | interrupted, {path(0)}, {CALL(truncate)}},
        {changes | interrupted, {descriptor(0)}, {CALL(ftruncate)}},
        {flushes | noSpace | interrupted, {descriptor(0)}, {CALL(fsync), CALL(fdatasync)}},
        {flushes | noSpace, {descriptor(0)}, {CALL(syncfs)}},
        {none,
         {path(0)},
         {CALL(stat), CALL(lstat), CALL(statfs), CALL(access), CALL(readlink), CALL(chdir)}},
        {none, {descriptor(0)}, {CALL(fstat), CALL(fstatfs), CALL(getdents64)}},
        {none,
         {pathAt(0)},
         {CALL(newfstatat), CALL(statx), CALL(faccessat), CALL(faccessat2), CALL(readlinkat)}},
        {named, {path(0)}, {CALL(mkdir)}},
        {named, {pathAt(0)}, {CALL(mkdirat)}},
        {named, {path(0), path(1)}, {CALL(rename), CALL(link)}},
        {named, {pathAt(0), pathAt(2)}, {CALL(renameat), CALL(renameat2), CALL(linkat)}},
        {named, {path(1)}, {CALL(symlink)}},
        {named, {pathAt(1)}, {CALL(symlinkat)}},
        {changes | names, {path(0)}, {CALL(unlink), CALL(rmdir)}},
        {changes | names, {pathAt(0)}, {CALL(unlinkat)}},
        {changes, {path(0)}, {CALL(chmod), CALL(chown)}},
        {changes, {descriptor(0)}, {CALL(fchmod), CALL(fchown)}},
        {changes, {pathAt(0)}, {CALL(fchmodat), CALL(fchownat), CALL(utimensat)}},
    };
    return all;
}
#undef CALL

class Caller {
public:
    Caller(pid_t thread, const user_regs_struct& registers)
        : m_directory("/proc/" + std::to_string(thread) + "/"),
          m_thread(thread),
          m_arguments{registers.rdi, registers.rsi, registers.rdx, registers.r10} {}

    [[nodiscard]] unsigned long long argument(unsigned index) const {
        return m_arguments.at(index);
    }

    /// Absolute and without "." and ".."; empty when nobody can tell.
    [[nodiscard]] std::string resolve(const Place& place) const {
        const auto start = static_cast<int>(argument(place.argument));
        switch (place.by) {
        case Place::By::path:
            return below(file(AT_FDCWD), textAt(argument(place.argument)));
        case Place::By::pathAt:
            return below(file(start), textAt(argument(place.argument + 1)));
        case Place::By::descriptor:
            return file(start);
        case Place::By::nothing:
            break;
        }
        return {};
    }

private:
    [[nodiscard]] std::string target(const std::string& link) const {
        std::error_code failed;
        return fs::read_symlink(m_directory + link, failed).native();
    }

    [[nodiscard]] std::string file(int descriptor) const {
        return target(descriptor == AT_FDCWD ? "cwd" : "fd/" + std::to_string(descriptor));
    }

    [[nodiscard]] std::string below(const std::string& start, const std::string& text) const {
        constexpr std::string_view own = "/proc/self/fd/";
        if (text.rfind(own, 0) == 0) {
            const std::size_t end = std::min(text.find('/', own.size()), text.size());
            const std::string opened = target("fd/" + text.substr(own.size(), end - own.size()));
            return opened + fs::path(text.substr(end)).lexically_normal().native();
        }
        return text.empty() ? start : (fs::path(start) / text).lexically_normal().native();
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
    std::array<unsigned long long, 4> m_arguments;
};

/// Of the calls that do many things, those that lock, or clone a file.
bool isMeant(long number, const Caller& caller) {
    const auto command = static_cast<int>(caller.argument(1));
    return number == SYS_fcntl   ? command == F_SETLK || command == F_SETLKW || command == F_GETLK
           : number == SYS_ioctl ? caller.argument(1) == FICLONE
                                 : true;
}

unsigned traitsOf(long number, const Group& group, const Caller& caller) {
    const bool isOpen = number == SYS_open || number == SYS_openat;
    const auto flags = isOpen ? caller.argument(number == SYS_open ? 1 : 2) : 0;
    return group.traits | ((flags & (O_CREAT | O_TRUNC)) != 0 ? changes | names | noSpace : 0U);
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
    const Caller caller(thread, registers);
    for (const Group& group : groups()) {
        for (const Number& number : group.calls) {
            for (const Place& place : group.places) {
                const std::string path = number.value == wanted ? caller.resolve(place) : "";
                if ((path + "/").rfind(root + "/", 0) == 0 && isMeant(wanted, caller)) {
                    const std::string inner = path == root ? "." : path.substr(root.size() + 1);
                    return FileCall{number.name, inner, traitsOf(wanted, group, caller)};
                }
            }
        }
    }
    return std::nullopt;
}

}  // namespace torture
