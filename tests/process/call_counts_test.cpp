// How many system calls an operation makes: each is a round trip where results lie on a file system
// at a distance, and none may be asked twice. The counts are the same on every machine, but for
// what is asked again after a while; so the least of several rounds is taken.

#include <sys/ptrace.h>
#include <sys/user.h>

#include <algorithm>

#include "model/model_test.h"

namespace {

constexpr int mark = -12345;  ///< no descriptor: closing it tells the tracer something

/// What a process does with its memory and its threads is no round trip.
bool isWithinTheMachine(long call) {
    constexpr std::array calls{SYS_brk, SYS_mmap, SYS_munmap, SYS_mprotect, SYS_madvise, SYS_futex};
    return std::ranges::count(calls, call) != 0;
}

constexpr int rounds = 8;

/// The fewest calls that `work` makes in a round after the first, when all is known that lasts.
int callsOf(const std::function<void()>& work) {
    const support::ChildProcess child([&] {
        ::ptrace(PTRACE_TRACEME, 0, 0, 0);
        ::raise(SIGSTOP);
        for (int i = 0; i < rounds; ++i) {
            work();
            ::close(mark);
        }
        return 0;
    });
    int status = 0;
    ::waitpid(child.pid(), &status, 0);
    ::ptrace(PTRACE_SETOPTIONS, child.pid(), 0, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    std::vector<int> calls(1);
    for (bool isEntry = true; calls.size() <= rounds; isEntry = !isEntry) {
        ::ptrace(PTRACE_SYSCALL, child.pid(), 0, 0);
        user_regs_struct registers{};
        if (::waitpid(child.pid(), &status, 0) < 0 || !WIFSTOPPED(status) ||
            ::ptrace(PTRACE_GETREGS, child.pid(), 0, &registers) != 0) {
            ADD_FAILURE() << "the child ended, or cannot be traced";
            return -1;
        }
        const auto call = static_cast<long>(registers.orig_rax);
        if (isEntry && call == SYS_close && static_cast<int>(registers.rdi) == mark) {
            calls.push_back(0);
        } else if (isEntry && !isWithinTheMachine(call)) {
            ++calls.back();
        }
    }
    return *std::min_element(calls.begin() + 1, calls.end() - 1);
}

class CallCounts : public ModelTest {
protected:
    /// Of each node more, where a group has more of them.
    static int callsEach(const std::function<void()>& work) {
        constexpr int more = 10;
        const int before = callsOf(work);
        for (int i = 0; i < more; ++i) {
            makeResult("group/added" + std::to_string(i));
        }
        settle();
        return (callsOf(work) - before + more - 1) / more;
    }
    static void settle() { ::usleep(50'000); }  // until a listing is believed later
};

TEST_F(CallCounts, StayAsLowAsTheyAre) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers make calls of their own";
#endif
    makeResult("group/known");
    settle();
    const auto create = [path = at("series/r@@@")] {
        Results::create(path.c_str(), false, nullptr, false, nullptr);
    };
    const auto open = [path = at("group/known")] { openResult(path); };
    const auto find = [] { INodeGroup::open("group")->getNodePaths(); };
    EXPECT_LE(callsOf(open), 12);
    EXPECT_LE(callsEach(find), 3);
    // What is known lasts as long as a listing is dear.
    for (int i = 0; i < 3000; ++i) {
        writeFile(at("series/file" + std::to_string(i)), "");
    }
    if (support::givesEachChangeAStamp(at("series"))) {  // else it is listed each time
        for (int i = 0; i < 20; ++i) {                   // until it has seen that
            create();
        }
        EXPECT_LE(callsOf(create), 14);
    }
    const ResultHandle result = openResult("group/known");
    const auto claim = [&] { result->setFlag("busy"), result->clearFlag("busy", false); };
    EXPECT_LE(callsOf(claim), 35);
    EXPECT_LE(callsOf([&] { result->save(); }), 10);
    int saves = 0;
    EXPECT_LE(callsOf([&] { result->setCollectionTimeEnd(++saves), result->save(); }), 14);
    // Of one more there is one more removal of 43, and when it goes slowly a listing now and again.
    const auto purge = [&](int count) {
        return callsOf([count] {
            for (int i = 0; i < count; ++i) {
                makeResult("purged/" + std::to_string(i));
            }
            settle();
            INodeGroup::open("purged")->purge("*", 0);
        });
    };
    EXPECT_LE((purge(40) - purge(20)) / 20, 50);
}

}  // namespace
