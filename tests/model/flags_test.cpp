// Flags of nodes, within one process.

#include <atomic>
#include <ctime>
#include <thread>

#include "basekit2/host.h"
#include "model_test.h"
#include "platkit/assertion.h"

namespace {

class FlagsTest : public ModelTest {
protected:
    ResultHandle m_result = openResult(makeResult(at("r000")));

    void TearDown() override {
        m_result.reset();
        ModelTest::TearDown();
    }

    bool hasFiles(const std::string& name) const {
        const bool isLocked = fs::exists(at("r000/" + name + ".dflgzentor"));
        EXPECT_EQ(isLocked, fs::exists(at("r000/" + name + ".infozentor")));
        return isLocked;
    }
};

TEST_F(FlagsTest, OneProcessClaimsAFlagOnce) {
    const long now = std::time(nullptr);
    sptr_t<IFlagData> owner;
    EXPECT_EQ(m_result->ownFlag("busy"), eNotFound);
    ASSERT_EQ(m_result->addFlag("busy", owner, false), eOK);
    EXPECT_GE(owner->getTimestamp(), now);
    EXPECT_EQ(text(owner->getHostname()), basekit2::get_fq_host_name());
    const std::string first = readFile(at("r000/busy.infozentor"));
    const variant_bag_t record = [&] {
        variant_bag_t bag;
        basekit2::load_variant_bag_from_string(bag, first.substr(0, first.find('\0')));
        return bag;
    }();
    std::vector<std::string> keys;
    for (const auto& entry : record) {
        keys.push_back(entry.name);
    }
    EXPECT_THAT(keys, testing::ElementsAre("timestamp", "pid", "ppid", "host", "user", "os"));
    EXPECT_EQ(record.get_variant("timestamp").kind(), basekit2::variant_t::kind_t::int64);
    EXPECT_EQ(record.get_variant("pid"),
              basekit2::variant_t(static_cast<std::uint32_t>(::getpid())));
    EXPECT_EQ(first.back(), '\0');

    EXPECT_EQ(m_result->addFlag("busy", owner, false), eAlreadyExists);
    EXPECT_GE(owner->getTimestamp(), now);
    EXPECT_FALSE(m_result->setFlag("busy"));
    EXPECT_EQ(readFile(at("r000/busy.infozentor")), first);
    writeFile(at("r000/busy.infozentor"), "");
    EXPECT_EQ(m_result->addFlag("busy", true), eOK);
    EXPECT_FALSE(readFile(at("r000/busy.infozentor")).empty());
    EXPECT_EQ(m_result->ownFlag("busy"), eOK);

    EXPECT_EQ(m_result->removeFlag("none", false), eNotFound);
    writeFile(at("r000/foreign.dflgzentor"), "");
    EXPECT_EQ(m_result->removeFlag("foreign", false), eNotOwner);
    EXPECT_TRUE(m_result->clearFlag("foreign", true));
    EXPECT_TRUE(m_result->clearFlag("busy", false));
    EXPECT_FALSE(hasFiles("busy"));
    EXPECT_EQ(m_result->addFlag(nullptr, false), eParameterError);
    EXPECT_EQ(m_result->ownFlag(""), eParameterError);
}

TEST_F(FlagsTest, EndWithTheNode) {
    ASSERT_TRUE(m_result->setFlag("one"));
    ASSERT_TRUE(m_result->setFlag("two"));
    writeFile(at("r000/foreign.dflgzentor"), "");
    // A lock file that another has put in the place of ours is not ours to delete.
    ASSERT_TRUE(m_result->setFlag("replaced"));
    fs::remove(at("r000/replaced.dflgzentor"));
    writeFile(at("r000/replaced.dflgzentor"), "");
    m_result.reset();
    EXPECT_FALSE(hasFiles("one"));
    EXPECT_FALSE(hasFiles("two"));
    EXPECT_TRUE(hasFiles("replaced"));
    EXPECT_TRUE(fs::exists(at("r000/foreign.dflgzentor")));

    asOrdinaryUser([this] {
        ResultHandle result = openResult(makeResult(at("closed")));
        ASSERT_TRUE(result->setFlag("kept"));
        util::FlagManager flags;
        flags.setDirectory(at("closed"));
        EXPECT_EQ(flags.writeFlag("other", false, nullptr), eOK);
        lock("closed");
        EXPECT_EQ(result->removeFlag("kept", false), eUnknown);
        EXPECT_EQ(getStatus(), eInsufficientPermissions);
        EXPECT_EQ(result->addFlag("new", false), eFileAccessDenied);
        EXPECT_EQ(result->addFlag("kept", false), eOK) << "left behind by ourselves";
        EXPECT_FALSE(result->move(at("open").c_str(), false, nullptr));
        EXPECT_EQ(getStatus(), eInsufficientPermissions);
        EXPECT_EQ(result->ownFlag("kept"), eOK);
        EXPECT_THROW(flags.eraseAll(), fs::filesystem_error);
        EXPECT_NO_THROW(flags.eraseAll()) << "forgotten all the same";
        result.reset();
        unlock("closed");
    });
}

TEST_F(FlagsTest, LookTellsWithoutTouching) {
    const auto look = [&](const char* name) { return util::lookAtFlag(at("r000"), name); };
    using util::flag_state_t;
    ASSERT_TRUE(m_result->setFlag("held"));
    for (const char* file : {"free.dflgzentor", "torn.dflgzentor", "stale.dflgzentor"}) {
        writeFile(at("r000/" + std::string(file)), "");
    }
    writeFile(at("r000/torn.infozentor"), "<bag v=");
    writeFile(at("r000/stale.infozentor"),
              R"(<bag v="1"><uint32 n="pid">0</uint32><uint32 n="ppid">1</uint32></bag>)");
    fs::copy_file(at("r000/stale.infozentor"), at("r000/record.infozentor"));
    fs::create_symlink(at("r000/held.dflgzentor"), at("r000/link.dflgzentor"));
    ASSERT_EQ(::mkfifo(at("r000/fifo.dflgzentor").c_str(), 0600), 0);
    const auto before = stampOf(at("r000"));
    const struct {
        const char* name;
        flag_state_t state;
        bool isRecorded;
    } cases[] = {
        {"held", flag_state_t::held, true},  {"stale", flag_state_t::stale, true},
        {"free", flag_state_t::free, false}, {"torn", flag_state_t::free, false},
        {"none", flag_state_t::free, false}, {"link", flag_state_t::free, false},
        {"fifo", flag_state_t::free, false}, {"record", flag_state_t::stale, true},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(look(each.name).state(), each.state) << each.name;
        EXPECT_EQ(!look(each.name).record().empty(), each.isRecorded) << each.name;
    }
    EXPECT_EQ(stampOf(at("r000")), before);
    const auto all = util::lookAtFlags(at("r000"));
    ASSERT_EQ(all.size(), 7U);
    EXPECT_EQ(all[0].name(), "fifo");
    EXPECT_EQ(all[2].state(), flag_state_t::held);
    EXPECT_TRUE(m_result->clearFlag("record", true));
    EXPECT_EQ(look("record").state(), flag_state_t::free);
    EXPECT_THROW(util::lookAtFlags(at("none")), fs::filesystem_error);
}

TEST_F(FlagsTest, ThreadsShareANode) {
    constexpr int rounds = 200;
    std::vector<std::thread> threads;
    std::atomic<int> claims{0};
    std::atomic<int> owners{0};
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < rounds; ++round) {
                const auto code = object(m_result).addFlag("busy", false);
                if (code == eOK) {
                    EXPECT_EQ(++owners, 1);
                    ++claims;
                    --owners;
                    EXPECT_EQ(object(m_result).removeFlag("busy", false), eOK);
                } else {
                    EXPECT_EQ(code, eAlreadyExists);
                }
                util::lookAtFlag(at("r000"), "busy");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_GT(claims, 0);
    EXPECT_FALSE(hasFiles("busy"));
}

TEST_F(FlagsTest, SetDuringAMoveAreWhereTheNodeIs) {
    constexpr int mostClaims = 1000;
    std::atomic<bool> ended{false};
    std::atomic<int> number{0};
    std::vector<std::string> claimed;
    std::thread claimer([&] {
        for (; !ended && number < mostClaims; ++number) {
            const std::string name = "flag" + std::to_string(number.load());
            if (object(m_result).setFlag(name.c_str())) {
                claimed.push_back(name);
            }
        }
    });
    for (const char* place : {"m1", "m2", "m3", "m4"}) {
        for (const int before = number; number == before && number < mostClaims;) {
            std::this_thread::yield();
        }
        EXPECT_TRUE(m_result->move(at(place).c_str(), false, nullptr));
    }
    ended = true;
    claimer.join();
    ASSERT_FALSE(claimed.empty());
    for (const std::string& name : claimed) {
        EXPECT_TRUE(fs::exists(at("m4/" + name + ".dflgzentor"))) << name;
        EXPECT_EQ(m_result->ownFlag(name.c_str()), eOK) << name;
    }
    EXPECT_EQ(util::lookAtFlags(at("m4")).size(), claimed.size());
    for (const char* place : {"r000", "m1", "m2", "m3"}) {
        EXPECT_FALSE(fs::exists(at(place))) << place;
    }
}

TEST_F(FlagsTest, FollowTheirDirectoryOrAreGivenUp) {
    fs::create_directory(at("other"));
    util::FlagManager flags;
    flags.setDirectory(at("other"));
    ASSERT_EQ(flags.writeFlag("kept", false, nullptr), eOK);
    fs::rename(at("other"), at("renamed"));
    flags.setDirectory(at("renamed"));
    EXPECT_EQ(flags.isFlagOwner("kept"), eOK);
    EXPECT_EQ(util::lookAtFlag(at("renamed"), "kept").state(), util::flag_state_t::held);
    flags.setDirectory(at("r000"));
    EXPECT_TRUE(fs::is_empty(at("renamed")));
    EXPECT_EQ(flags.isFlagOwner("kept"), eNotFound);
    EXPECT_EQ(flags.writeFlag("kept", false, nullptr), eOK);
    EXPECT_TRUE(hasFiles("kept"));
}

TEST_F(FlagsTest, ThatMayNotBeReadAreHeldBySomebody) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs a second user";
    }
    const mode_t old = ::umask(077);
    ASSERT_TRUE(m_result->setFlag("secret"));
    ::umask(old);
    fs::permissions(at("r000"), fs::all_all);
    asOrdinaryUser([this] {
        for (const util::FlagLook& look : util::lookAtFlags(at("r000"))) {
            EXPECT_EQ(look.state(), util::flag_state_t::held);
            EXPECT_TRUE(look.record().empty());
        }
        util::FlagManager flags;
        flags.setDirectory(at("r000"));
        EXPECT_EQ(flags.isFlagOwner("secret"), eNotOwner);
        EXPECT_EQ(flags.writeFlag("secret", true, nullptr), eFileAccessDenied);
        EXPECT_EQ(flags.removeFlag("secret", true, true), eFileAccessDenied);
    });
    EXPECT_TRUE(hasFiles("secret"));
}

TEST_F(FlagsTest, NothingIsSavedWhileAnotherProcessKeepsTheNode) {
    static std::vector<std::string> asserted;
    asserted.clear();
    const auto old = platkit::set_assertion_handler(
        [](const platkit::assertion_t& assertion) { asserted.emplace_back(assertion.condition); });
    const std::string before = readFile(at("r000/r000.zentor"));
    m_result->getPropertyStorage()->setProperty("vesta/note", "x");
    ASSERT_TRUE(m_result->setFlag("held"));
    ASSERT_TRUE(m_result->setFlag("project_read_only"));
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        // The claim of the parent does not count here, and the parent's lock stands.
        ::_exit(m_result->addFlag("held", false) == eFileLocked &&
                        m_result->addFlag("project_read_only", false) == eFileLocked &&
                        !m_result->save() && getStatus() == eNotOwner && asserted.size() == 1 &&
                        m_result->isModified()
                    ? 0
                    : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    platkit::set_assertion_handler(old);
    EXPECT_EQ(readFile(at("r000/r000.zentor")), before);
    m_result->save();
    EXPECT_EQ(getStatus(), eOK) << "its owner may";
}

}  // namespace
