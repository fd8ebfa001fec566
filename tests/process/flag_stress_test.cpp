// Processes claim one flag, ask for it, force it, give it up and end anywhere, all at once. Pauses
// between their system calls, which a seed decides, bring about what is rare otherwise.
// VESTA2_STRESS_SEED and VESTA2_STRESS_SECONDS make a run another or a longer one;
// VESTA2_STRESS_MOUNTS names the places, parted by ":", where one network file system is mounted.

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <random>

#include "model/model_test.h"

namespace {

std::mt19937 chance;
/// In a worker: how many system calls in a hundred are followed by a pause.
unsigned pausesInHundred = 0;
/// In a worker: ends it, as if it were killed between two system calls. It is not killed in one: a
/// client of a network file system in user space may never answer a lock that is interrupted.
std::function<void()> end;

unsigned below(std::size_t limit) { return static_cast<unsigned>(chance() % limit); }

void perhapsPause() {
    if (end && below(1000) == 0) {
        end();
    }
    if (below(100) < pausesInHundred) {
        ::usleep(below(400));
    }
}

template <class Result>
Result andPause(Result result) {
    const int error = errno;
    perhapsPause();
    errno = error;
    return result;
}

}  // namespace

// The linker sends the library's calls here; see the build file.
extern "C" {
int __real_open(const char* path, int flags, mode_t mode);
int __real_fcntl(int descriptor, int command, void* argument);
int __real_unlink(const char* path);
ssize_t __real_pwrite(int descriptor, const void* buffer, size_t size, off_t offset);
int __real_statx(int directory, const char* path, int flags, unsigned mask, struct statx* file);

int __wrap_open(const char* path, int flags, mode_t mode) {
    return andPause(__real_open(path, flags, mode));
}
int __wrap_fcntl(int descriptor, int command, void* argument) {
    return andPause(__real_fcntl(descriptor, command, argument));
}
int __wrap_unlink(const char* path) { return andPause(__real_unlink(path)); }
/// In two parts, so that one who is killed in between leaves half a record.
ssize_t __wrap_pwrite(int descriptor, const void* buffer, size_t size, off_t offset) {
    const size_t part = pausesInHundred > 0 && size > 1 ? size / 2 : size;
    return andPause(__real_pwrite(descriptor, buffer, part, offset));
}
int __wrap_statx(int directory, const char* path, int flags, unsigned mask, struct statx* file) {
    return andPause(__real_statx(directory, path, flags, mask, file));
}
}

namespace {

using Clock = std::chrono::steady_clock;

/// What all processes see. They go by the numbers that the test gave them: on other hosts are other
/// process tables.
struct Board {
    std::atomic<int> owner{0};
    std::atomic<int> claims{0};
    std::atomic<int> doubleOwners{0};
    std::atomic<int> lostRecords{0};
    std::atomic<int> oddAnswers{0};
};

const char* mounts() { return std::getenv("VESTA2_STRESS_MOUNTS"); }
bool areMounts() { return mounts() != nullptr; }

class Worker {
public:
    Worker(Board& board, int number, const std::string& directory)
        : m_board(board), m_number(number), m_directory(directory) {
        m_flags.setDirectory(directory);
    }

    [[noreturn]] void run(Clock::duration time) {
        end = [this] {
            leave();
            ::_exit(0);
        };
        for (const auto until = Clock::now() + time; Clock::now() < until;) {
            act();
        }
        end = nullptr;
        m_flags.eraseAll();
        ::_exit(0);
    }

private:
    void act() {
        switch (below(8)) {
        case 0:
            expect(m_flags.isFlagOwner("flag"), {eNotFound, eNotOwner});
            break;
        case 1:
            expect(m_flags.removeFlag("flag", false, false), {eOK, eNotFound, eFileLocked});
            break;
        case 2:
            expect(m_flags.removeFlag("flag", true, true), {eOK, eNotFound, eFileLocked});
            break;
        case 3:
            m_flags.getFlagInfo("flag", m_record);
            util::lookAtFlags(m_directory);
            break;
        default:
            claim(below(3) == 0);
        }
    }

    bool expect(vesta2::error_t code, std::initializer_list<vesta2::error_t> possible) {
        m_board.oddAnswers += std::count(possible.begin(), possible.end(), code) == 0;
        return code == eOK;
    }

    void claim(bool force) {
        if (!expect(m_flags.writeFlag("flag", force, &m_record), {eOK, eFileLocked})) {
            return;
        }
        ++m_board.claims;
        enter();
        checkRecord();
        if (below(4) == 0) {
            leave();
            m_flags.preserveFlags();
            m_flags.restoreFlags(m_directory.c_str());
            if (m_flags.isFlagOwner("flag") != eOK) {
                return;
            }
            enter();
        }
        checkRecord();
        leave();
        below(2) == 0 ? m_flags.eraseAll()
                      : void(expect(m_flags.removeFlag("flag", true, false), {eOK}));
    }

    void enter() { m_board.doubleOwners += m_board.owner.exchange(m_number) != 0; }
    void leave() {
        int self = m_number;
        m_board.owner.compare_exchange_strong(self, 0);
    }

    /// Nobody deletes or overwrites it as long as the flag is held. What a look through a network
    /// file system tells of a record may be a second old, so there it is not asked.
    void checkRecord() {
        for (unsigned look = areMounts() ? 0 : below(3); look > 0; --look) {
            const util::FlagLook found = util::lookAtFlag(m_directory, "flag");
            m_board.lostRecords += found.state() != util::flag_state_t::held ||
                                   found.record().get_variant("pid").to_int64() != ::getpid();
        }
    }

    Board& m_board;
    const int m_number;
    const std::string m_directory;
    util::FlagManager m_flags;
    variant_bag_t m_record;
};

unsigned fromEnvironment(const char* name, unsigned otherwise) {
    const char* text = std::getenv(name);
    return text ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : otherwise;
}

std::vector<std::string> split(std::string places) {
    std::replace(places.begin(), places.end(), ':', ' ');
    return support::words(places);
}

class FlagStress : public ModelTest {
protected:
    /// Works on one of the mounts, if there are any, as a host of its own.
    support::ChildProcess start(Clock::duration time) {
        const int number = ++m_lastNumber;
        const unsigned seed = below(1U << 30);
        const std::string& directory = m_directories[below(m_directories.size())];
        const auto work = [&]() -> int {
            chance.seed(seed);
            pausesInHundred = below(3) * 15;
            Worker(*m_board, number, directory).run(time);
        };
        return support::ChildProcess(work, areMounts() ? forkAsHost : ::fork);
    }

    static pid_t forkAsHost() {
        const long child = ::syscall(SYS_clone, CLONE_NEWPID | CLONE_NEWNS | SIGCHLD, 0, 0, 0, 0);
        if (child == 0 && (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                           ::mount("proc", "/proc", "proc", 0, nullptr) != 0)) {
            ::_exit(2);
        }
        return static_cast<pid_t>(child);
    }

    /// Workers that end before the time is over are replaced.
    void round(Clock::duration time) {
        std::vector<support::ChildProcess> workers;
        for (unsigned count = 2 + below(5); count > 0; --count) {
            workers.push_back(start(time));
        }
        for (const auto until = Clock::now() + time; Clock::now() < until;) {
            // The client of a network file system in user space has to keep up.
            ::usleep(below(areMounts() ? 20000 : 2000));
            support::ChildProcess& worker = workers[below(workers.size())];
            if (!worker.isRunning()) {
                EXPECT_EQ(worker.wait(), 0);
                worker = start(until - Clock::now());
            }
        }
        for (support::ChildProcess& worker : workers) {
            EXPECT_EQ(worker.wait(), 0);
        }
    }

    /// Whatever has happened, the flag can be had, and given up without a rest. The server of a
    /// network file system may need a moment to notice that a process has been killed.
    void expectNothingLost() {
        const auto check = [this] {
            util::FlagManager flags;
            flags.setDirectory(m_directories.front());
            vesta2::error_t code = flags.writeFlag("flag", false, nullptr);
            for (int i = 0; areMounts() && code == eFileLocked && i < 1000; ++i) {
                ::usleep(10000);
                code = flags.writeFlag("flag", false, nullptr);
            }
            EXPECT_EQ(code, eOK) << "lost for everybody";
            EXPECT_EQ(flags.removeFlag("flag", true, false), eOK);
            EXPECT_TRUE(fs::is_empty(m_directories.front()));
            return HasFailure() ? 1 : 0;
        };
        support::ChildProcess child(check, areMounts() ? forkAsHost : ::fork);
        EXPECT_EQ(child.wait(), 0);
    }

    const std::vector<std::string> m_directories =
        split(areMounts() ? mounts() : m_temp.path().native());
    int m_lastNumber = 0;
    Board* m_board = new (::mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE,
                                 MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Board;
};

TEST_F(FlagStress, OneOwnerAndNoFlagLost) {
    const unsigned seed = fromEnvironment("VESTA2_STRESS_SEED", std::random_device()());
    const std::chrono::seconds time(fromEnvironment("VESTA2_STRESS_SECONDS", 3));
    std::printf("seed %u\n", seed);
    std::fflush(nullptr);
    SCOPED_TRACE("seed " + std::to_string(seed));
    chance.seed(seed);
    for (const auto until = Clock::now() + time; Clock::now() < until && !HasFailure();) {
        round(std::chrono::milliseconds(50 + below(200)) * (areMounts() ? 10 : 1));
        expectNothingLost();
        EXPECT_EQ(m_board->doubleOwners, 0);
        EXPECT_EQ(m_board->lostRecords, 0);
        EXPECT_EQ(m_board->oddAnswers, 0);
    }
    EXPECT_GT(m_board->claims, 10);
    std::printf("%d claims\n", m_board->claims.load());
}

}  // namespace
