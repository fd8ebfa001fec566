// Copies that fail, are cancelled or attacked: what is lost, and what stays. What becomes of them
// on a full disk, and when the process is killed, is tortured.

#include <csignal>
#include <random>

#include "copy_test.h"

namespace {

TEST_F(CopyTest, FailedStepIsToldByTheStatusAndLosesNothing) {
    asOrdinaryUser([this] {
        m_held["r"] = makeFullResult("r000");
        play(R"(write r000/closed/file; chmod 0 r000/data.1/1; chmod 0 r000/closed
                move r moved rename -> no permission
                duplicate r moved   -> no permission
                node r              -> r000
                export r export     -> export permission
                copy r copy         -> ok permission
                node r              -> copy
                tree copy           -> closed data.0 data.0/0 data.1 data.2 data.2/2 large mine.dflgzentor mine.infozentor r000.zentor
                chmod 600 r000/data.1/1; chmod 700 r000/closed)");
        EXPECT_FALSE(fs::exists("moved"));
        // The old directory cannot be deleted: the node lives in the new one.
        play(R"(result locked/r000; hold kept locked/r000; chmod 500 locked
                move kept free        -> no error
                node kept             -> free
                copy kept locked/copy -> no error
                chmod 700 locked; write tree/1.tmp tree/2/2.tmp tree/3.tmp tree/3.txt
                chmod 500 tree/2)");
        for (const bool isDone : {false, true, true}) {
            EXPECT_EQ(removeFiles(basekit2::path_t("tree"), ".tmp"), isDone);
            EXPECT_EQ(entries("tree"), isDone ? "2 3.txt" : "2 2/2.tmp 3.tmp 3.txt");
            ::chmod("tree/2", 0700);
        }
        m_held.clear();
    });
}

TEST_F(CopyTest, CancelledCopyLeavesNothing) {
    const ResultHandle result = makeFullResult("r000", 60);
    const std::string record = readFile("r000/mine.infozentor");
    Progress whole;
    ASSERT_TRUE(result->copy("first", false, &whole));
    ASSERT_TRUE(result->move("again", false, nullptr));
    const std::string before = entries("again");
    std::mt19937 random(1);
    for (int round = 0; round < 50; ++round) {
        Progress progress(static_cast<int>(random() % static_cast<unsigned>(whole.questions)));
        progress.atEnd = [&] { EXPECT_TRUE(!fs::exists("to") && isHeld("again")); };
        EXPECT_FALSE(round % 2 == 0 ? result->copy("to", true, &progress)
                                    : result->move("to", true, &progress));
        EXPECT_EQ(getStatus(), eFileError);
        EXPECT_EQ(progress.finishes, progress.starts);
        ASSERT_FALSE(fs::exists("to"));
        ASSERT_EQ(entries("again"), before);
        ASSERT_EQ(result->ownFlag("mine"), eOK);
    }
    EXPECT_EQ(readFile("again/mine.infozentor"), record);
    // Within the large file as well, of which no part stays.
    writeFile("large/file", std::string(20'000'000, 'z'));
    fs::create_directory("part");
    for (int question = 0; question < 6; ++question) {
        Progress progress(question);
        copyTree("large", "part", {}, &progress);
        EXPECT_EQ(fs::exists("part/file"), progress.done == 20'000'000);
        fs::remove("part/file");
        EXPECT_TRUE(progress.done == 0 || progress.done >= 8 * 1024 * 1024) << progress.done;
    }
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
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    for (const auto& [name, owner, mode] :
         Rows<Text, unsigned, mode_t>{{".", victim, 0755},
                                      {"shared", attacker, 0777},
                                      {"shared/bait", attacker, 0777},
                                      {"shared/private", victim, 0755},
                                      {"shared/private/file", victim, 0755}}) {
        fs::create_directories(at(name));
        ASSERT_EQ(::chown(name, owner, owner) + ::chmod(name, mode), 0);
    }
    const pid_t swapper = ::fork();
    if (swapper == 0) {
        become(attacker);
        fs::current_path("shared");
        for (unsigned i = 0;; ++i) {
            const char* const bait = i % 2 == 0 ? "bait" : "private";
            if (::rename("copy", ("aside" + std::to_string(i)).c_str()) == 0) {
                ::rename(bait, "copy");
                ::usleep(200);
                ::rename("copy", bait);
                // An empty directory may be taken for the victim's when that clears up.
                ::mkdir("bait", 0777);
            }
        }
    }
    const int code = checkInChild([] {
        become(victim);
        makeResult("r000");
        for (int i = 0; i < 100; ++i) {
            writeFile("r000/data.0/" + std::to_string(i), "secret");
        }
        ::chmod("r000", 0700);
        // The name is taken as long as the other one has something there.
        for (int round = 0, tries = 0; round < rounds && tries < mostTries; ++tries) {
            const ResultHandle result = openResult("r000");
            Progress slow;
            const bool isMade = round % 3 == 0 ? result->copy("shared/copy", false, &slow)
                                : round % 3 == 1
                                    ? static_cast<bool>(result->duplicate("shared/copy"))
                                    : static_cast<bool>(result->exportTo("shared/copy", nullptr));
            round += isMade || getStatus() != eAlreadyExists ? 1 : 0;
        }
    });
    ::kill(swapper, SIGKILL);
    ::waitpid(swapper, nullptr, 0);
    EXPECT_EQ(code, 0);
    bool isKept = false;
    for (const fs::directory_entry& entry : fs::directory_iterator("shared")) {
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
