#include "doctor/trials.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "base/failure.h"
#include "basekit2/descriptor.h"

namespace cli {

namespace fs = std::filesystem;
using basekit2::descriptor_t;
using Clock = std::chrono::steady_clock;
using Outcome = Trial::Outcome;

namespace {

/// A directory of its own, for things that others must not see as nodes.
class Workshop {
public:
    explicit Workshop(const std::string& directory) : m_path(directory + "/.doctor-XXXXXX") {
        if (!::mkdtemp(m_path.data())) {
            throw Failure::fromErrno(errno, directory);
        }
    }
    ~Workshop() {
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
    }
    Workshop(const Workshop&) = delete;
    Workshop& operator=(const Workshop&) = delete;

    /// Raises `std::filesystem::filesystem_error`.
    void remove() const { fs::remove_all(m_path); }

    [[nodiscard]] std::string at(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

/// A second process, at work from now on.
class Partner {
public:
    /// `work` returns what `result` is to tell, below 128.
    template <class Work>
    explicit Partner(const Work& work) : m_process(::fork()) {
        if (m_process == 0) {
            // What it cannot do must not run on in a second copy of this program.
            const auto alone = [&]() noexcept { return work(); };
            ::_exit(alone());
        }
    }
    ~Partner() { result(); }
    Partner(const Partner&) = delete;
    Partner& operator=(const Partner&) = delete;

    /// Waits for it; -1 when it could not be started, or failed.
    int result() {
        if (m_process > 0) {
            int status = 0;
            pid_t ended = 0;
            do {
                ended = ::waitpid(m_process, &status, 0);
            } while (ended < 0 && errno == EINTR);
            m_process = 0;
            m_result = ended > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        }
        return m_result;
    }

private:
    pid_t m_process;
    int m_result = -1;
};

descriptor_t makeFile(const std::string& path) {
    return descriptor_t(::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
}

bool writeBlock(const std::string& path, char letter) {
    std::array<char, 4096> block{};
    block.fill(letter);
    const descriptor_t file = makeFile(path);
    return file &&
           ::write(file.get(), block.data(), block.size()) == static_cast<ssize_t>(block.size());
}

std::string reasonOf(int error) { return std::strerror(error); }

int lockWhole(int file) {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    return ::fcntl(file, F_SETLK, &lock);
}

Trial tryLocks(const Workshop& shop) {
    Trial trial{"record-locks", Outcome::unknown, {}, {}, true};
    const std::string path = shop.at("lock");
    const descriptor_t file = makeFile(path);
    if (!file || lockWhole(file.get()) != 0) {
        trial.detail = reasonOf(errno);
    } else {
        Partner other([&path] {
            const descriptor_t again(::open(path.c_str(), O_RDWR | O_CLOEXEC));
            const bool isLocked = again && lockWhole(again.get()) == 0;
            return isLocked ? 0 : again && (errno == EAGAIN || errno == EACCES) ? 1 : 2;
        });
        const int result = other.result();
        trial.outcome = result == 1 ? Outcome::yes : result == 0 ? Outcome::no : Outcome::unknown;
        trial.detail = result == 1   ? "a second process was refused"
                       : result == 0 ? "two processes have one lock"
                                     : "a second process could not ask";
    }
    trial.meaning = trial.outcome == Outcome::yes
                        ? "a flag has one owner among the processes of this host; between hosts, "
                          "if the server keeps locks, too"
                        : "flags do not hold: two processes that claim one at the same time may "
                          "both get it";
    return trial;
}

Trial tryMakingDirectories(const Workshop& shop) {
    constexpr int rounds = 100;
    Trial trial{"exclusive-mkdir", Outcome::unknown, {}, {}, true};
    const auto take = [&shop] {
        int taken = 0;
        for (int i = 0; i < rounds; ++i) {
            taken += ::mkdir(shop.at("n" + std::to_string(i)).c_str(), 0700) == 0 ? 1 : 0;
        }
        return taken;
    };
    Partner other(take);
    const int own = take();
    const int others = other.result();
    const int given = own + others;
    trial.outcome = others < 0 ? Outcome::unknown : given == rounds ? Outcome::yes : Outcome::no;
    trial.detail = std::to_string(rounds) + " names, given " + std::to_string(given) +
                   " times to two processes";
    trial.meaning = trial.outcome == Outcome::yes
                        ? "each number of a pattern is given once"
                        : "a number may be given twice: do not collect here";
    return trial;
}

Trial tryReplacing(const Workshop& shop) {
    Trial trial{"atomic-replace", Outcome::unknown, {}, {}, true};
    const std::string path = shop.at("replaced");
    bool isDone = writeBlock(path, 'a');
    int seen = -1;
    {
        Partner reader([&path] {
            for (int i = 0; i < 2000; ++i) {
                std::array<char, 4097> block{};
                const descriptor_t file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
                if (!file) {
                    return 1;
                }
                const ssize_t size = ::read(file.get(), block.data(), block.size());
                if (size != 4096 || std::count(block.begin(), block.end(), block[0]) != size) {
                    return 2;
                }
            }
            return 0;
        });
        for (int i = 0; i < 500 && isDone; ++i) {
            const std::string next = shop.at("next");
            isDone = writeBlock(next, i % 2 == 0 ? 'b' : 'a') &&
                     ::rename(next.c_str(), path.c_str()) == 0;
        }
        trial.detail = isDone ? std::string() : reasonOf(errno);
        seen = reader.result();
    }
    if (isDone && seen >= 0) {
        trial.outcome = seen == 0 ? Outcome::yes : Outcome::no;
        trial.detail = seen == 0   ? "500 times, always seen whole by a second process"
                       : seen == 1 ? "a second process found no file for a moment"
                                   : "a second process saw half a file";
    }
    trial.meaning =
        trial.outcome == Outcome::yes
            ? "a marker file is always one whole version"
            : "who reads while another process saves may find a node missing or damaged";
    return trial;
}

Trial trySecondNames(const Workshop& shop) {
    Trial trial{"hard-links", Outcome::no, {}, {}};
    writeBlock(shop.at("first"), 'a');
    if (::link(shop.at("first").c_str(), shop.at("second").c_str()) == 0) {
        trial.outcome = Outcome::yes;
    } else {
        trial.detail = reasonOf(errno);
    }
    return trial;
}

Trial tryRenaming(const Workshop& shop, const char* name, unsigned flags, bool mustFail) {
    Trial trial{name, Outcome::no, {}, {}};
    const std::string one = shop.at(std::string(name) + "-one");
    const std::string two = shop.at(std::string(name) + "-two");
    writeBlock(one, 'a');
    writeBlock(two, 'b');
    const bool isRenamed = ::renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, two.c_str(), flags) == 0;
    trial.detail = isRenamed ? std::string() : reasonOf(errno);
    if (mustFail ? !isRenamed && errno == EEXIST : isRenamed) {
        trial.outcome = Outcome::yes;
        trial.detail.clear();
    }
    return trial;
}

/// Of the two ways to make a new file that must not replace another one.
void tellOfNewFiles(Trial& rename, Trial& link) {
    const bool can = rename.outcome == Outcome::yes || link.outcome == Outcome::yes;
    rename.isNeeded = !can;
    rename.meaning = rename.outcome == Outcome::yes
                         ? "a new marker or link file never replaces another"
                     : can ? "a new marker or link file gets its name by a second link instead"
                           : "new markers and links cannot be made here";
    link.meaning = rename.outcome == Outcome::yes ? "not needed" : rename.meaning;
}

Trial tryTimes(const Workshop& shop) {
    Trial trial{"time-stamps", Outcome::unknown, {}, {}};
    const descriptor_t file = makeFile(shop.at("times"));
    long long last = 0;
    long long finest = 0;
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(2200);
    for (int changes = 0; file && changes < 20 && Clock::now() < end;) {
        struct stat status {};
        if (::pwrite(file.get(), "x", 1, 0) != 1 || ::fstat(file.get(), &status) != 0) {
            break;
        }
        const long long now = status.st_mtim.tv_sec * 1'000'000'000LL + status.st_mtim.tv_nsec;
        if (last != 0 && now != last) {
            ++changes;
            finest = finest == 0 ? now - last : std::min(finest, now - last);
        }
        last = now;
    }
    if (finest > 0) {
        std::array<char, 32> text{};
        std::snprintf(text.data(), text.size(), "%.3f ms apart", static_cast<double>(finest) / 1e6);
        trial.outcome = finest < 100'000'000 ? Outcome::yes : Outcome::no;
        trial.detail = text.data();
    }
    trial.meaning = trial.outcome == Outcome::yes
                        ? "what is remembered of a directory is soon known to be of now"
                        : "a directory that has just changed is listed again for some seconds";
    return trial;
}

Trial tryCounting(const Workshop& shop) {
    Trial trial{"directory-links", Outcome::unknown, {}, {}};
    const std::string outer = shop.at("outer");
    struct stat before {};
    struct stat after {};
    if (::mkdir(outer.c_str(), 0700) == 0 && ::stat(outer.c_str(), &before) == 0 &&
        ::mkdir((outer + "/inner").c_str(), 0700) == 0 && ::stat(outer.c_str(), &after) == 0) {
        trial.outcome = after.st_nlink == before.st_nlink + 1 ? Outcome::yes : Outcome::no;
    }
    trial.meaning = trial.outcome == Outcome::yes
                        ? "a series of creations need not list its directory each time"
                        : "each creation lists its directory";
    return trial;
}

Trial trySharing(const Workshop& shop) {
    Trial trial{"block-sharing", Outcome::no, {}, {}};
    writeBlock(shop.at("source"), 'a');
    const descriptor_t source(::open(shop.at("source").c_str(), O_RDONLY | O_CLOEXEC));
    const descriptor_t target = makeFile(shop.at("target"));
    if (source && target && ::ioctl(target.get(), FICLONE, source.get()) == 0) {
        trial.outcome = Outcome::yes;
    } else {
        trial.detail = reasonOf(errno);
    }
    trial.meaning = trial.outcome == Outcome::yes ? "copies share their blocks with the source"
                                                  : "copies take room and time by their size";
    return trial;
}

Trial tryFlushing(const Workshop& shop, bool isInMemory) {
    Trial trial{"flush", Outcome::unknown, {}, {}, true};
    const descriptor_t directory(::open(shop.at("").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const Clock::time_point begin = Clock::now();
    writeBlock(shop.at("flushed"), 'a');
    const descriptor_t file(::open(shop.at("flushed").c_str(), O_RDONLY | O_CLOEXEC));
    const bool isFlushed = file && ::fsync(file.get()) == 0;
    const int error = errno;
    const auto took = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin);
    // Some have nothing to flush for a directory, and say so.
    const bool isNamed = directory && (::fsync(directory.get()) == 0 || errno == EINVAL);
    trial.detail = isFlushed ? "took " + std::to_string(took.count()) + " µs" : reasonOf(error);
    if (!isFlushed || !isNamed) {
        trial.outcome = Outcome::no;
        trial.meaning = "saves fail here";
    } else if (isInMemory) {
        trial.outcome = Outcome::no;
        trial.meaning = "nothing survives a power cut, nor a restart: the files are in memory";
    } else {
        trial.outcome = Outcome::yes;
        trial.meaning = "what was saved survives a power cut, if the disk keeps its word";
    }
    return trial;
}

}  // namespace

std::string fileSystemOf(const std::string& directory) {
    struct statfs info {};
    if (::statfs(directory.c_str(), &info) != 0) {
        throw Failure::fromErrno(errno, directory);
    }
    struct Name {
        unsigned long type;
        const char* name;
    };
    constexpr std::array names{Name{EXT4_SUPER_MAGIC, "ext4"},
                               Name{XFS_SUPER_MAGIC, "XFS"},
                               Name{TMPFS_MAGIC, "tmpfs"},
                               Name{BTRFS_SUPER_MAGIC, "Btrfs"},
                               Name{NFS_SUPER_MAGIC, "NFS"},
                               Name{FUSE_SUPER_MAGIC, "FUSE"},
                               Name{OVERLAYFS_SUPER_MAGIC, "overlay"},
                               Name{SMB2_SUPER_MAGIC, "SMB"},
                               Name{0x0BD00BD0UL, "Lustre"},
                               Name{0x47504653UL, "GPFS"}};
    const auto type = static_cast<unsigned long>(info.f_type);
    for (const Name& known : names) {
        if (known.type == type) {
            return known.name;
        }
    }
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "type 0x%lx", type);
    return text.data();
}

std::vector<Trial> tryOut(const std::string& directory) {
    const Workshop shop(directory);
    Trial rename = tryRenaming(shop, "exclusive-rename", RENAME_NOREPLACE, true);
    Trial links = trySecondNames(shop);
    tellOfNewFiles(rename, links);
    Trial exchange = tryRenaming(shop, "exchange", RENAME_EXCHANGE, false);
    exchange.meaning = exchange.outcome == Outcome::yes
                           ? "'get' fills a marker file that is empty"
                           : "'get' cannot fill a marker file that is empty";
    std::vector<Trial> trials{tryLocks(shop),
                              tryMakingDirectories(shop),
                              tryReplacing(shop),
                              std::move(rename),
                              std::move(links),
                              std::move(exchange),
                              tryFlushing(shop, fileSystemOf(directory) == "tmpfs"),
                              tryTimes(shop),
                              tryCounting(shop),
                              trySharing(shop)};
    shop.remove();
    return trials;
}

}  // namespace cli
