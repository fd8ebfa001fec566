/// Processes claim one flag, ask for it, force it, give it up and end anywhere, all at once. Pauses
/// between their system calls, which a seed decides, bring about what is rare otherwise. With
/// places that are mounts of one network file system, each process is a host of its own.

#include <sched.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <thread>

#include "nodes.h"
#include "vesta2/flag_manager.h"

namespace torture {
namespace {

thread_local std::mt19937 chance;
std::atomic<bool> isEnding{false};  ///< this process: who gets the flag now has it no longer

unsigned below(std::size_t limit) { return static_cast<unsigned>(chance() % limit); }

/// One of the threads of a process, which has a number among all.
struct Claimant {
    Run& m_run;
    std::atomic<long>& m_owner;
    const long m_number;
    const std::string& m_directory;
    const bool m_isAlone;
    util::FlagManager m_flags{};
    basekit2::variant_bag_t m_record{};

    void claimUntil(Clock::time_point until) {
        m_flags.setDirectory(m_directory);
        while (Clock::now() < until) {
            act();
        }
        m_flags.eraseAll();
    }

    void act() {
        const unsigned choice = below(8);
        if (choice == 0) {
            expect(m_flags.isFlagOwner("flag"), {eNotFound, eNotOwner});
        } else if (choice <= 2) {
            const bool isForced = choice == 2;
            expect(m_flags.removeFlag("flag", isForced, isForced), {eOK, eNotFound, eFileLocked});
        } else if (choice == 3) {
            m_flags.getFlagInfo("flag", m_record);
            util::lookAtFlags(m_directory);
        } else {
            claim(below(3) == 0);
        }
    }

    bool expect(vesta2::error_t code, std::initializer_list<vesta2::error_t> possible) {
        if (std::ranges::count(possible, code) == 0 && (m_isAlone || code != eAlreadyExists)) {
            m_run.report.blame("the answer {}", static_cast<int>(code));
        }
        return code == eOK;
    }

    void claim(bool force) {
        if (!expect(m_flags.writeFlag("flag", force, &m_record), {eOK, eFileLocked})) {
            return;
        }
        ++m_run.report["claims"];
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

    void enter() {
        if (m_owner.exchange(m_number) != 0) {
            m_run.report.blame("two owners");
        }
        if (isEnding) {
            leave();
            ::pause();
        }
    }
    void leave() { leave(m_owner, m_number); }
    static void leave(std::atomic<long>& owner, long number) {
        owner.compare_exchange_strong(number, 0);
    }

    /// Nobody deletes or overwrites it as long as the flag is held. What a look through a network
    /// file system tells of a record may be a second old, so there it is not asked.
    void checkRecord() {
        for (unsigned look = m_run.isRemote() ? 0 : below(3); look > 0; --look) {
            const util::FlagLook found = util::lookAtFlag(m_directory, "flag");
            if (found.state() != util::flag_state_t::held ||
                found.record().get_variant("pid").to_int64() != ::getpid()) {
                m_run.report.blame("a record is lost");
            }
        }
    }
};

pid_t forkAsHost() {
    const long child = ::syscall(SYS_clone, CLONE_NEWPID | CLONE_NEWNS | SIGCHLD, 0, 0, 0, 0);
    if (child == 0 && (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                       ::mount("proc", "/proc", "proc", 0, nullptr) != 0)) {
        ::_exit(2);
    }
    return static_cast<pid_t>(child);
}

class Claims {
public:
    explicit Claims(Run& run) : m_run(run), m_places(run.options.places) {
        m_isRemote ? void() : m_places.push_back(m_directory.path().native());
    }

    /// Claimants that end before the time is over are replaced.
    void gather() {
        const std::chrono::milliseconds time((50 + m_run.below(200)) * (m_isRemote ? 10 : 1));
        const auto until = Clock::now() + time;
        // The client of a network file system in user space has to keep up.
        crowd(m_run, 2 + m_run.below(7), until, m_isRemote ? 20000 : 2000,
              [&](std::size_t /*number*/) { return start(until); });
        expectNothingLost();
        *m_owner = 0;
    }

private:
    support::ChildProcess start(Clock::time_point until) {
        const long number = ++m_lastNumber;
        const unsigned seed = m_run.below(1U << 30U);
        const std::string& place = m_places[m_run.below(m_places.size())];
        const auto work = [&] {
            chance.seed(seed);
            disturb(number);
            std::vector<std::jthread> threads;
            const bool isAlone = below(3) > 0;
            for (unsigned i = 0; i < (isAlone ? 1 : 2); ++i) {
                threads.emplace_back([&, i] {
                    chance.seed(seed + i);
                    Claimant{m_run, *m_owner, number, place, isAlone}.claimUntil(until);
                });
            }
            return 0;
        };
        return support::ChildProcess(work, m_isRemote ? forkAsHost : ::fork);
    }

    /// Pauses before some calls, and ends this process before others as if it were killed. It is
    /// not killed in one: a client of a network file system in user space may never answer a lock
    /// that is interrupted.
    void disturb(long number) {
        const unsigned pausesInHundred = below(3) * 15;
        beforeCall = [this, number, pausesInHundred](const char* /*call*/) {
            if (below(1000) == 0) {
                isEnding = true;
                Claimant::leave(*m_owner, number);
                ::_exit(0);
            }
            if (below(100) < pausesInHundred) {
                ::usleep(below(400));
            }
            return 0;
        };
    }

    /// Whatever has happened, the flag can be had, and given up without a rest. The server of a
    /// network file system may need a moment to notice that a process has been killed.
    void expectNothingLost() {
        const auto check = [this] {
            util::FlagManager flags;
            flags.setDirectory(m_places.front());
            vesta2::error_t code = flags.writeFlag("flag", false, nullptr);
            for (int i = 0; m_isRemote && code == eFileLocked && i < 1000; ++i) {
                ::usleep(10000);
                code = flags.writeFlag("flag", false, nullptr);
            }
            if (code != eOK) {
                m_run.report.blame("the flag is lost for all: {}", static_cast<int>(code));
            } else if (flags.removeFlag("flag", true, false) != eOK ||
                       !fs::is_empty(m_places.front())) {
                m_run.report.blame("something is left of the flag");
            }
            for (const auto& entry : fs::directory_iterator(m_places.front())) {
                fs::remove(entry);
            }
            return 0;
        };
        support::ChildProcess(check, m_isRemote ? forkAsHost : ::fork).wait();
    }

    Run& m_run;
    const bool m_isRemote = m_run.isRemote();
    const support::TempDirectory m_directory;
    std::vector<std::string> m_places;
    long m_lastNumber = 0;
    Shared<std::atomic<long>> m_owner;
};

}  // namespace

void claim(Run& run) {
    const long goal = run.options.isWhole ? (run.isRemote() ? 20'000 : 300'000) : 2'000;
    for (Claims claims(run); run.report["claims"] < goal && !run.isOver();) {
        claims.gather();
    }
}

}  // namespace torture
