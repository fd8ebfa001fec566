// Copies that fail, are cancelled, killed or attacked: what is lost, and what stays.

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <csignal>
#include <cstddef>
#include <fstream>
#include <random>

#include "copy_test.h"
#include "vesta/tree/remove_tree.h"

namespace {

TEST_F(CopyTest, FailedStepIsToldByTheStatusAndLosesNothing) {
    asOrdinaryUser([this] {
        writeFile(at("from/secret/1"), "1");
        writeFile(at("from/open/2"), "2");
        writeFile(at("from/closed/3"), "3");
        fs::permissions(at("from/secret/1"), fs::no_perms);
        fs::permissions(at("from/closed"), fs::no_perms);
        fs::create_directory(at("to"));
        EXPECT_TRUE(copyTree(at("from"), at("to")));
        EXPECT_EQ(getStatus(), eInsufficientPermissions);
        EXPECT_EQ(entries("to"), (std::vector<std::string>{"closed", "open", "open/2", "secret"}));
        unlock("from/closed");

        const ResultHandle result = makeFullResult("r000");
        fs::permissions(at("r000/data.1/1"), fs::no_perms);
        EXPECT_FALSE(result->move(at("moved").c_str(), true, nullptr));
        EXPECT_EQ(getStatus(), eInsufficientPermissions);
        EXPECT_FALSE(fs::exists(at("moved")));
        EXPECT_EQ(result->getPath(), at("r000"));
        EXPECT_TRUE(isHeld("r000"));
        EXPECT_FALSE(result->duplicate(at("double").c_str()));
        EXPECT_EQ(getStatus(), eInsufficientPermissions);
        EXPECT_FALSE(fs::exists(at("double")));
        EXPECT_TRUE(result->exportTo(at("export").c_str(), nullptr));
        EXPECT_EQ(getStatus(), eInsufficientPermissions);
        EXPECT_TRUE(result->copy(at("copy").c_str(), false, nullptr));
        EXPECT_EQ(getStatus(), eInsufficientPermissions);
        EXPECT_EQ(result->getPath(), at("copy"));

        // The old directory cannot be deleted: the node lives in the new one.
        fs::create_directory(at("locked"));
        makeResult(at("locked/r000"));
        const ResultHandle kept = openResult(at("locked/r000"));
        lock("locked");
        EXPECT_FALSE(kept->move(at("free").c_str(), false, nullptr));
        EXPECT_EQ(getStatus(), eFileError);
        EXPECT_EQ(kept->getMarkerFilePath(), at("free/r000.zentor"));
        EXPECT_FALSE(kept->copy(at("locked/copy").c_str(), false, nullptr));
        EXPECT_EQ(getStatus(), eFileError);
        unlock("locked");

        for (const char* name : {"tree/1.tmp", "tree/2/2.tmp", "tree/3.tmp", "tree/3.txt"}) {
            writeFile(at(name), "");
        }
        lock("tree/2");
        EXPECT_FALSE(removeFiles(basekit2::path_t(at("tree")), ".tmp"));
        EXPECT_EQ(entries("tree"), (std::vector<std::string>{"2", "2/2.tmp", "3.tmp", "3.txt"}));
        unlock("tree/2");
        EXPECT_TRUE(removeFiles(basekit2::path_t(at("tree")), ".tmp"));
        EXPECT_EQ(entries("tree"), (std::vector<std::string>{"2", "3.txt"}));
        EXPECT_TRUE(removeFiles(basekit2::path_t(at("tree")), ".tmp"));
        fs::permissions(at("r000/data.1/1"), fs::owner_all);
    });
}

TEST_F(CopyTest, FullDiskLeavesTheSourceAlone) {
    const ResultHandle result = makeFullResult("r000");
    const std::vector<std::string> before = entries("r000");
    fs::create_directory(at("small"));
    const int code = inChild([&] {
        const bool mounted = ::unshare(CLONE_NEWNS) == 0 &&
                             ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                             ::mount("tmpfs", at("small").c_str(), "tmpfs", 0, "size=1m") == 0;
        if (!mounted) {
            ::_exit(77);
        }
        // The flag is the parent's.
        EXPECT_EQ(result->removeFlag("mine", false), eNotOwner);
        EXPECT_FALSE(result->move(at("small/moved").c_str(), true, nullptr));
        EXPECT_EQ(getStatus(), eUnknown);
        EXPECT_FALSE(result->duplicate(at("small/double").c_str()));
        EXPECT_EQ(entries("small"), (std::vector<std::string>{}));
        EXPECT_EQ(result->getPath(), at("r000"));
        EXPECT_TRUE(result->exportTo(at("small/export").c_str(), nullptr));
        EXPECT_EQ(getStatus(), eUnknown);
        EXPECT_TRUE(result->copy(at("small/copy").c_str(), true, nullptr));
        EXPECT_EQ(getStatus(), eUnknown);
        EXPECT_FALSE(fs::exists(at("small/copy/large")));
        // Not even a marker file finds a place.
        fs::remove(at("small/copy/large"));
        std::ofstream(at("small/filler")) << std::string(2'000'000, 'f');
        for (int kind = 0; kind < 2; ++kind) {
            const ResultHandle source = openResult(at("r000"));
            EXPECT_FALSE(kind == 0
                             ? IResultDirectory::cast(source->duplicate(at("small/d").c_str()))
                             : source->exportTo(at("small/d").c_str(), "large\ndata.*"));
            EXPECT_NE(getStatus(), eOK);
            EXPECT_FALSE(fs::exists(at("small/d"))) << kind;
        }
    });
    EXPECT_EQ(entries("r000"), before);
    EXPECT_TRUE(isHeld("r000"));
    if (code == 77) {
        GTEST_SKIP() << "no mount of its own is to be had here";
    }
    EXPECT_EQ(code, 0) << "see the failures of the child above";
}

TEST_F(CopyTest, CancelledCopyLeavesNothing) {
    const ResultHandle result = makeFullResult("r000", 60);
    const std::string record = readFile(at("r000/mine" + std::string(infoExtension)));
    Progress whole;
    ASSERT_TRUE(result->copy(at("first").c_str(), false, &whole));
    ASSERT_TRUE(result->move(at("again").c_str(), false, nullptr));
    const std::vector<std::string> before = entries("again");
    std::mt19937 random(1);
    for (int round = 0; round < 50; ++round) {
        Progress progress(static_cast<int>(random() % static_cast<unsigned>(whole.questions)));
        progress.atEnd = [&] {
            EXPECT_FALSE(fs::exists(at("to")));
            EXPECT_TRUE(isHeld("again"));
        };
        EXPECT_FALSE(round % 2 == 0 ? result->copy(at("to").c_str(), true, &progress)
                                    : result->move(at("to").c_str(), true, &progress));
        EXPECT_EQ(getStatus(), eFileError);
        EXPECT_EQ(progress.finishes, progress.starts);
        ASSERT_FALSE(fs::exists(at("to")));
        ASSERT_EQ(entries("again"), before);
        ASSERT_EQ(result->ownFlag("mine"), eOK);
        ASSERT_TRUE(isHeld("again"));
    }
    EXPECT_EQ(readFile(at("again/mine" + std::string(infoExtension))), record);
    // Within the large file as well, of which no part stays.
    writeFile(at("large/file"), std::string(20'000'000, 'z'));
    fs::create_directory(at("part"));
    for (int question = 0; question < 6; ++question) {
        Progress progress(question);
        copyDirectoryWithExlusionPattern(at("large"), at("part"), {}, &progress);
        fs::remove(at("part/file"));
        EXPECT_TRUE(progress.done == 0 || progress.done >= 8 * 1024 * 1024) << progress.done;
    }
    Progress second(3);
    EXPECT_FALSE(copyDirectoryWithExlusionPattern(at("large"), at("part"), {}, &second));
    EXPECT_TRUE(fs::is_empty(at("part")));
}

/// Ends the process at the question number `killAt`.
class Killer : public Progress {
public:
    explicit Killer(int killAt) : m_killAt(killAt) {}
    bool isCancelled() override {
        if (questions == m_killAt) {
            ::_exit(0);
        }
        return Progress::isCancelled();
    }

private:
    int m_killAt;
};

TEST_F(CopyTest, AKilledCopyIsNoNodeUntilItIsWhole) {
    makeResult(at("r000"));
    openResult(at("r000"))->setFinalized(true);
    for (const char* name : {"a", "data.0/b", "data.0/c", "z"}) {
        writeFile(at("r000/" + std::string(name)), name);
    }
    // Whatever the order of a listing, by age or by name, the marker is not always the last.
    openResult(at("r000"))->save();
    constexpr int done = 3;
    int nodes = 0;
    for (int killAt = 0, code = 0; code != done; ++killAt) {
        code = inChild([&] {
            Killer killer(killAt);
            EXPECT_TRUE(openResult(at("r000"))->copy(at("copy").c_str(), false, &killer));
            ::_exit(HasFailure() ? 1 : done);
        });
        ASSERT_TRUE(code == 0 || code == done) << killAt;
        if (const ResultHandle copy = openResult(at("copy"))) {
            ++nodes;
            EXPECT_EQ(readFile(at("copy/r000.zentor")), readFile(at("r000/r000.zentor")));
            EXPECT_GE(entries("copy").size() + 1, entries("r000").size()) << killAt;
            EXPECT_TRUE(!copy->isFinalized() || entries("copy") == entries("r000")) << killAt;
        }
        removeTree(at("copy"));
    }
    EXPECT_GT(nodes, 0);
}

/// Makes all calls of the system call `number` of this process fail.
bool failCalls(unsigned number, unsigned error) {
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter{static_cast<unsigned short>(std::size(program)), program};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

TEST_F(CopyTest, WhatIsNotOnTheDiskIsNotReliedOn) {
    makeFullResult("r000");
    makeResult(at("marked"));
    const std::vector<std::string> before = entries("r000");
    const struct {
        unsigned call;
        std::function<void()> check;
    } cases[] = {
        {SYS_syncfs,
         [&] {
             const ResultHandle result = openResult(at("r000"));
             ASSERT_TRUE(result->setFlag("mine"));
             EXPECT_FALSE(result->move(at("moved").c_str(), true, nullptr));
             EXPECT_EQ(getStatus(), eUnknown);
             EXPECT_FALSE(fs::exists(at("moved")));
             EXPECT_EQ(result->getPath(), at("r000"));
             EXPECT_EQ(result->ownFlag("mine"), eOK);
         }},
        {SYS_fsync,
         [&] {
             const ResultHandle result = openResult(at("marked"));
             EXPECT_TRUE(result->setFinalized(true));
             EXPECT_EQ(getStatus(), eUnknown);
             EXPECT_FALSE(result->isFinalized());
         }},
    };
    for (const auto& each : cases) {
        const int code = inChild([&] {
            if (!failCalls(each.call, EIO)) {
                ::_exit(77);
            }
            each.check();
        });
        if (code == 77) {
            GTEST_SKIP() << "no filter of system calls is to be had here";
        }
        EXPECT_EQ(code, 0) << "see the failures of the child above";
    }
    EXPECT_EQ(entries("r000"), before);
}

/// Runs what follows as another user.
void become(unsigned user) {
    ASSERT_EQ(::setgroups(0, nullptr), 0);
    ASSERT_EQ(::setgid(user), 0);
    ASSERT_EQ(::setuid(user), 0);
}

TEST_F(CopyTest, WhoOwnsTheParentOfADestinationCannotRedirectCopies) {
    constexpr unsigned victim = 65534;
    constexpr unsigned attacker = 65533;
    constexpr int rounds = 120;
    constexpr int mostTries = 20000;
    constexpr int manyFiles = 100;
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    for (const auto& [name, owner, mode] :
         Rows<std::string, unsigned, mode_t>{{"", victim, 0755},
                                             {"shared", attacker, 0777},
                                             {"shared/bait", attacker, 0777},
                                             {"shared/private", victim, 0755},
                                             {"shared/private/file", victim, 0755}}) {
        fs::create_directories(at(name));
        ASSERT_EQ(::chown(at(name).c_str(), owner, owner), 0);
        ASSERT_EQ(::chmod(at(name).c_str(), mode), 0);
    }
    const pid_t swapper = ::fork();
    if (swapper == 0) {
        become(attacker);
        const std::string copy = at("shared/copy");
        for (unsigned i = 0;; ++i) {
            const std::string bait = at(i % 2 == 0 ? "shared/bait" : "shared/private");
            if (::rename(copy.c_str(), at("shared/aside" + std::to_string(i)).c_str()) == 0) {
                ::rename(bait.c_str(), copy.c_str());
                ::usleep(200);
                ::rename(copy.c_str(), bait.c_str());
                // An empty directory may be taken for the victim's when that clears up.
                ::mkdir(at("shared/bait").c_str(), 0777);
            }
        }
    }
    const int code = inChild([this] {
        become(victim);
        makeResult(at("r000"));
        for (int i = 0; i < manyFiles; ++i) {
            writeFile(at("r000/data.0/" + std::to_string(i)), "secret");
        }
        fs::permissions(at("r000"), fs::owner_all);
        // The name is taken as long as the other one has something there.
        for (int round = 0, tries = 0; round < rounds && tries < mostTries; ++tries) {
            const ResultHandle result = openResult(at("r000"));
            const std::string copy = at("shared/copy");
            Progress slow;
            const bool isMade = round % 3 == 0 ? result->copy(copy.c_str(), false, &slow)
                                : round % 3 == 1
                                    ? static_cast<bool>(result->duplicate(copy.c_str()))
                                    : static_cast<bool>(result->exportTo(copy.c_str(), nullptr));
            round += isMade || getStatus() != eAlreadyExists ? 1 : 0;
        }
    });
    ::kill(swapper, SIGKILL);
    ::waitpid(swapper, nullptr, 0);
    EXPECT_EQ(code, 0);
    bool isKept = false;
    for (const fs::directory_entry& entry : fs::directory_iterator(at("shared"))) {
        struct stat info {};
        ASSERT_EQ(::stat(entry.path().c_str(), &info), 0);
        if (info.st_uid == attacker) {
            EXPECT_TRUE(fs::is_empty(entry.path())) << entry.path();
        } else if (fs::exists(entry.path() / "file")) {
            isKept = true;
            EXPECT_EQ(info.st_mode & 0777U, 0755U) << "of the victim, and none of the copy's";
        }
    }
    EXPECT_TRUE(isKept);
}

}  // namespace
