#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <utility>

#include "bag_syntax.h"
#include "basekit2/bag_io.h"
#include "basekit2/descriptor.h"
#include "basekit2/files.h"
#include "basekit2/host.h"
#include "basekit2/path.h"
#include "basekit2/uninterrupted.h"

namespace basekit2 {
namespace {

constexpr std::string_view temporary_prefix = ".bagtmp-";
constexpr mode_t permission_bits = 07777;

bool write_all(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written =
            uninterrupted([&] { return ::write(fd, text.data(), text.size()); });
        if (written <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

bool flush(int fd) {
    return uninterrupted([&] { return ::fsync(fd); }) == 0;
}

/// Where the symbolic link at `path` leads. One that leads nowhere is followed one step: the save
/// creates what it names.
std::string target_of(const std::string& path) {
    const std::unique_ptr<char, void (*)(void*)> resolved(::realpath(path.c_str(), nullptr),
                                                          std::free);
    if (resolved) {
        return resolved.get();
    }
    std::string next(PATH_MAX, '\0');
    const ssize_t length = ::readlink(path.c_str(), next.data(), next.size());
    next.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return next.empty() || next.front() == '/' ? next : path_t(path).parent().join(next).text();
}

/// A file under a temporary name; it is removed again unless it got its own.
class temporary_file_t {
public:
    explicit temporary_file_t(int directory)
        : m_directory(directory),
          m_name(make_bag_temporary()),
          m_file(uninterrupted([&] {
              return ::openat(directory, m_name.c_str(),
                              O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
          })),
          m_exists(static_cast<bool>(m_file)) {}
    temporary_file_t(const temporary_file_t&) = delete;
    temporary_file_t& operator=(const temporary_file_t&) = delete;
    ~temporary_file_t() {
        if (m_exists) {
            ::unlinkat(m_directory, m_name.c_str(), 0);
        }
    }

    /// Writes the text and gives the file the mode and the owner of `old`, which may be null.
    bool fill(std::string_view text, const struct stat* old) {
        return m_exists && write_all(m_file.get(), text) && (!old || resemble(*old));
    }

    [[nodiscard]] bool flush() const { return basekit2::flush(m_file.get()); }

    /// Takes the place of what has this name.
    bool rename_to(const std::string& name) {
        return m_file.close() &&
               renamed(::renameat(m_directory, m_name.c_str(), m_directory, name.c_str()));
    }

    /// Takes the name only when nothing has it; else a failure, with EEXIST when something has.
    bool rename_to_new(const std::string& name) {
        return m_file.close() &&
               renamed(rename_exclusively(m_directory, m_name.c_str(), name.c_str()) ? 0 : -1);
    }

    /// Changes places with the file that has the name; this object then stands for that.
    bool swap_with(const std::string& name) {
        return m_file.close() && ::renameat2(m_directory, m_name.c_str(), m_directory, name.c_str(),
                                             RENAME_EXCHANGE) == 0;
    }

    [[nodiscard]] const std::string& name() const { return m_name; }

private:
    bool resemble(const struct stat& old) const {
        struct stat made {};
        if (::fstat(m_file.get(), &made) == 0 && made.st_uid == old.st_uid &&
            made.st_gid == old.st_gid && made.st_mode == old.st_mode) {
            return true;
        }
        // Without the right to give files away the new owner stays; that must not fail the save.
        // The mode comes last: a change of owner clears bits of it.
        [[maybe_unused]] const int ignored = ::fchown(m_file.get(), old.st_uid, old.st_gid);
        return ::fchmod(m_file.get(), old.st_mode & permission_bits) == 0;
    }

    bool renamed(int result) {
        m_exists = m_exists && result != 0;
        return result == 0;
    }

    int m_directory;
    std::string m_name;
    descriptor_t m_file;
    bool m_exists;
};

descriptor_t open_directory(const path_t& path) {
    const char* name = path.text().empty() ? "." : path.c_str();
    return descriptor_t(
        uninterrupted([name] { return ::open(name, O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
}

/// Where a file is, or will be.
struct place_t {
    explicit place_t(const path_t& path)
        : name(path.last_component()), directory(open_directory(path.parent())) {}

    explicit operator bool() const { return directory && !name.empty(); }

    const std::string name;
    const descriptor_t directory;
};

bool flush_directory(int directory) {
    // Some file systems have nothing to flush for a directory, and say so.
    return flush(directory) || errno == EINVAL;
}

/// Whether the file `name` holds just this, and it is flushed. What cannot be read does not.
bool has_flushed(const place_t& place, std::string_view text) {
    const int directory = place.directory.get();
    const descriptor_t file(uninterrupted([&] {
        return ::openat(directory, place.name.c_str(),
                        O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    }));
    std::string found(text.size() + 1, '\0');
    const ssize_t got =
        file ? uninterrupted([&] { return ::read(file.get(), found.data(), found.size()); }) : -1;
    return got == static_cast<ssize_t>(text.size()) && found.compare(0, text.size(), text) == 0 &&
           flush(file.get()) && flush_directory(directory);
}

struct manner_t {
    durability_t durability = durability_t::lasting;
    int links = 8;                           ///< how many symbolic links may follow one another
    bool may_be_same = true;                 ///< a look at what is there may save the writing
    const directory_id_t* wanted = nullptr;  ///< the file must lie there
};

bool is_of(const directory_id_t& id, int directory) {
    struct stat info {};
    return ::fstat(directory, &info) == 0 && info.st_dev == id.device && info.st_ino == id.inode;
}

int outcome(bool is_done) { return is_done ? bag_ok : bag_unwritable; }

/// Replaces the file at `target`, or the one that a symbolic link there leads to.
int replace_file(const path_t& target, std::string_view text, manner_t manner) {
    const place_t place(target);
    if (!place) {
        return bag_unwritable;
    }
    const int directory = place.directory.get();
    if (manner.wanted && !is_of(*std::exchange(manner.wanted, nullptr), directory)) {
        return bag_misplaced;
    }
    struct stat old {};
    const bool replaces = ::fstatat(directory, place.name.c_str(), &old, AT_SYMLINK_NOFOLLOW) == 0;
    if (replaces && S_ISLNK(old.st_mode)) {
        return manner.links-- > 0 ? replace_file(path_t(target_of(target.text())), text, manner)
                                  : bag_unwritable;
    }
    if (replaces ? !S_ISREG(old.st_mode) : errno != ENOENT) {
        return bag_unwritable;
    }
    if (replaces && manner.may_be_same && static_cast<std::size_t>(old.st_size) == text.size() &&
        has_flushed(place, text)) {
        return bag_ok;
    }
    const bool lasting = replaces || manner.durability == durability_t::lasting;
    temporary_file_t file(directory);
    return outcome(file.fill(text, replaces ? &old : nullptr) && (!lasting || file.flush()) &&
                   file.rename_to(place.name) && (!lasting || flush_directory(directory)));
}

/// Makes the file at `target`.
int create_file(const path_t& target, std::string_view text, durability_t durability) {
    const place_t place(target);
    if (!place) {
        return bag_unwritable;
    }
    temporary_file_t file(place.directory.get());
    const bool lasting = durability == durability_t::lasting;
    if (!file.fill(text, nullptr) || (lasting && !file.flush())) {
        return bag_unwritable;
    }
    if (!file.rename_to_new(place.name)) {
        return errno == EEXIST ? bag_exists : bag_unwritable;
    }
    return !lasting || flush_directory(place.directory.get()) ? bag_ok : bag_unwritable;
}

/// Puts `text`, that of `bag`, where an empty bag is. What comes out by the swap tells whether it
/// was; else it goes back, and so does what another process saves before that.
int fill_file(const path_t& target, const variant_bag_t& bag, std::string_view text) {
    const place_t place(target);
    temporary_file_t file(place.directory.get());
    if (!file.fill(text, nullptr) || !file.swap_with(place.name)) {
        return bag_unwritable;
    }
    const std::string out = target.parent().join(file.name()).text();
    variant_bag_t found;
    if (load_variant_bag(found, out, "") == bag_ok && found.empty()) {
        return bag_ok;
    }
    if (file.swap_with(place.name) &&
        !(load_variant_bag(found, out, "") == bag_ok && found == bag)) {
        file.swap_with(place.name);
    }
    return bag_exists;
}

int save(const variant_bag_t& bag, const std::string& path, const char* root, manner_t manner) {
    std::string text;
    const int result = save_variant_bag_to_string(bag, text, root);
    if (bag_failed(result)) {
        return result;
    }
    return replace_file(path_t(path), text, manner);
}

std::string host_in_names() {
    std::string host = get_fq_host_name().substr(0, 24);
    std::replace_if(
        host.begin(), host.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '-');
    return host;
}

}  // namespace

int save_variant_bag2(const variant_bag_t& bag, const std::string& path, const char* root,
                      durability_t durability, symlinks_t symlinks) {
    manner_t manner{durability};
    manner.links = symlinks == symlinks_t::followed ? manner.links : 0;
    return save(bag, path, root, manner);
}

int save_changed_bag(const variant_bag_t& bag, const std::string& path) {
    manner_t manner;
    manner.may_be_same = false;
    return save(bag, path, default_root, manner);
}

int save_variant_bag_in(const directory_id_t& directory, const variant_bag_t& bag,
                        const std::string& path, bool is_changed) {
    manner_t manner;
    manner.may_be_same = !is_changed;
    manner.wanted = &directory;
    return save(bag, path, default_root, manner);
}

int create_variant_bag(const variant_bag_t& bag, const std::string& path, durability_t durability) {
    std::string text;
    const int result = save_variant_bag_to_string(bag, text);
    return bag_failed(result) ? result : create_bag_file(text, path, durability);
}

int create_bag_file(std::string_view text, const std::string& path, durability_t durability) {
    return create_file(path_t(path), text, durability);
}

int fill_variant_bag(const variant_bag_t& bag, const std::string& path) {
    std::string text;
    variant_bag_t present;
    int result = load_variant_bag(present, path, "");
    if (!bag_failed(result)) {
        result = present.empty() ? save_variant_bag_to_string(bag, text) : bag_exists;
    }
    return bag_failed(result) ? result : fill_file(path_t(path), bag, text);
}

int read_bag_text(const std::string& path, std::string& text) {
    return read_bag_text(path, text, nullptr);
}

int read_bag_text(const std::string& path, std::string& text, struct stat* file) {
    if (read_file(path, max_bag_bytes, text, file)) {
        return bag_ok;
    }
    return errno == ENOENT || errno == ENOTDIR ? bag_absent
           : errno == EFBIG                    ? bag_too_large
                                               : bag_unreadable;
}

int load_variant_bag(variant_bag_t& bag, const std::string& path, const char* root) {
    std::string text;
    const int result = read_bag_text(path, text);
    if (bag_failed(result)) {
        bag.clear();
        return result;
    }
    return load_variant_bag_from_string(bag, text, root);
}

int load_variant_bag2(variant_bag_t& bag, const std::string& path, const char* root,
                      int /*flags*/) {
    return load_variant_bag(bag, path, root);
}

std::string make_bag_temporary() {
    static const std::string host = host_in_names();
    std::uint64_t random = 0;
    // No counter: processes that were forked into process tables of their own have one number.
    // Cannot fail for so few bytes; and were it to, the exclusive creation would notice a clash.
    [[maybe_unused]] const ssize_t read = ::getrandom(&random, sizeof random, 0);
    return std::string(temporary_prefix) + host + '-' + std::to_string(::getpid()) + '-' +
           std::to_string(random);
}

bool is_bag_temporary(std::string_view name) { return name.starts_with(temporary_prefix); }

bool is_left_bag_temporary(std::string_view name) {
    const std::string own_host = std::string(temporary_prefix) + host_in_names() + '-';
    if (!name.starts_with(own_host)) {
        return false;
    }
    name.remove_prefix(own_host.size());
    pid_t process = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), process);
    return error == std::errc() && end != name.data() + name.size() && *end == '-' && process > 0 &&
           ::kill(process, 0) != 0 && errno == ESRCH;
}

}  // namespace basekit2
