// Flags of nodes, within one process.

#include <atomic>
#include <ctime>

#include "basekit2/host.h"
#include "platkit/assertion.h"
#include "script_test.h"

namespace {

class FlagsTest : public ScriptTest {
protected:
    ResultHandle m_result = openResult(makeResult("r000"));

    void TearDown() override {
        m_result.reset();
        ScriptTest::TearDown();
    }
};

TEST_F(FlagsTest, OneProcessClaimsAFlagOnceAndLeavesItsRecord) {
    const long now = std::time(nullptr);
    sptr_t<IFlagData> owner;
    for (const auto code : {eOK, eAlreadyExists}) {
        EXPECT_EQ(m_result->addFlag("busy", owner, false), code);
        EXPECT_GE(owner->getTimestamp(), now);
        EXPECT_EQ(text(owner->getHostname()), basekit2::get_fq_host_name());
    }
    const std::string first = readFile("r000/busy.infozentor");
    variant_bag_t record;
    basekit2::load_variant_bag_from_string(record, first.substr(0, first.find('\0')));
    std::string keys;
    for (const auto& entry : record) {
        keys += entry.name + " ";
    }
    EXPECT_EQ(keys, "timestamp pid ppid host user os ");
    EXPECT_EQ(record.get_variant("timestamp").kind(), basekit2::variant_t::kind_t::int64);
    EXPECT_EQ(record.get_variant("pid"),
              basekit2::variant_t(static_cast<std::uint32_t>(::getpid())));
    EXPECT_EQ(first.back(), '\0');
    writeFile("r000/foreign.dflgzentor", "");
    EXPECT_EQ(m_result->removeFlag("foreign", false), eNotOwner);
    writeFile("r000/unlocked.infozentor", "");
    std::string names;
    for (const util::FlagLook& look : util::lookAtFlags("r000")) {
        names += look.name() + " ";
    }
    EXPECT_EQ(names, "busy foreign unlocked ");
    EXPECT_TRUE(m_result->clearFlag("unlocked", true));
    EXPECT_TRUE(m_result->clearFlag("foreign", true));
    EXPECT_TRUE(m_result->clearFlag("busy", false));
    EXPECT_EQ(entries("r000"), "r000.zentor");
    EXPECT_EQ(m_result->removeFlag("busy", false), eNotFound);
    EXPECT_EQ(m_result->addFlag(nullptr, false), eParameterError);
    EXPECT_EQ(m_result->ownFlag(""), eParameterError);
    EXPECT_THROW(util::lookAtFlags("none"), fs::filesystem_error);
}

TEST_F(FlagsTest, EndWithTheNode) {
    m_held["r"] = std::exchange(m_result, {});
    // A lock file that another has put in the place of ours is not ours to delete.
    play(R"(flag r one; flag r two; flag r replaced; rm r000/replaced.dflgzentor
            write r000/foreign.dflgzentor r000/replaced.dflgzentor; drop r
            tree r000 -> foreign.dflgzentor r000.zentor replaced.dflgzentor replaced.infozentor)");
    asOrdinaryUser([this] {
        play("result closed; hold r closed; flag r kept");
        const NodeHandle result = m_held["r"];
        util::FlagManager flags;
        flags.setDirectory(at("closed"));
        EXPECT_EQ(flags.writeFlag("other", false, nullptr), eOK);
        ::chmod("closed", 0500);
        EXPECT_EQ(result->removeFlag("kept", false), eUnknown);
        EXPECT_EQ(getStatus(), eInsufficientPermissions);
        EXPECT_EQ(result->addFlag("new", false), eFileAccessDenied);
        EXPECT_EQ(result->addFlag("kept", false), eOK) << "left behind by ourselves";
        play("move r open -> no permission; own r kept -> ok");
        EXPECT_THROW(flags.eraseAll(), fs::filesystem_error);
        EXPECT_NO_THROW(flags.eraseAll()) << "forgotten all the same";
        ::chmod("closed", 0700);
    });
}

TEST_F(FlagsTest, ThreadsShareANode) {
    std::atomic<int> claims{0};
    std::atomic<int> owners{0};
    runThreads(4, [&](unsigned) {
        for (int round = 0; round < 200; ++round) {
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
    EXPECT_GT(claims, 0);
    EXPECT_EQ(entries("r000"), "r000.zentor");
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
        EXPECT_TRUE(m_result->move(place, false, nullptr));
    }
    ended = true;
    claimer.join();
    ASSERT_FALSE(claimed.empty());
    for (const std::string& name : claimed) {
        EXPECT_EQ(util::lookAtFlag("m4", name).state(), util::flag_state_t::held) << name;
        EXPECT_EQ(m_result->ownFlag(name.c_str()), eOK) << name;
    }
    EXPECT_EQ(util::lookAtFlags("m4").size(), claimed.size());
    EXPECT_EQ(namesIn(".").size(), 1U);
}

TEST_F(FlagsTest, FollowTheirDirectoryOrAreGivenUp) {
    fs::create_directory("other");
    util::FlagManager flags;
    flags.setDirectory(at("other"));
    ASSERT_EQ(flags.writeFlag("kept", false, nullptr), eOK);
    fs::rename("other", "renamed");
    flags.setDirectory(at("renamed"));
    EXPECT_EQ(flags.isFlagOwner("kept"), eOK);
    EXPECT_EQ(util::lookAtFlag("renamed", "kept").state(), util::flag_state_t::held);
    flags.setDirectory(at("r000"));
    EXPECT_TRUE(fs::is_empty("renamed"));
    EXPECT_EQ(flags.isFlagOwner("kept"), eNotFound);
    EXPECT_EQ(flags.writeFlag("kept", false, nullptr), eOK);
    EXPECT_EQ(entries("r000"), "kept.dflgzentor kept.infozentor r000.zentor");
}

TEST_F(FlagsTest, ThatMayNotBeReadAreHeldBySomebody) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs a second user";
    }
    const mode_t old = ::umask(077);
    ASSERT_TRUE(m_result->setFlag("secret"));
    ::umask(old);
    ::chmod("r000", 0777);
    asOrdinaryUser([this] {
        const auto found = util::lookAtFlags("r000");
        ASSERT_EQ(found.size(), 1U);
        EXPECT_EQ(found[0].state(), util::flag_state_t::held);
        EXPECT_TRUE(found[0].record().empty());
        util::FlagManager flags;
        flags.setDirectory(at("r000"));
        EXPECT_EQ(flags.isFlagOwner("secret"), eNotOwner);
        EXPECT_EQ(flags.writeFlag("secret", true, nullptr), eFileAccessDenied);
        EXPECT_EQ(flags.removeFlag("secret", true, true), eFileAccessDenied);
    });
    EXPECT_EQ(entries("r000"), "r000.zentor secret.dflgzentor secret.infozentor");
}

TEST_F(FlagsTest, NothingIsSavedWhileAnotherProcessKeepsTheNode) {
    static std::vector<std::string> asserted;
    asserted.clear();
    const auto old = platkit::set_assertion_handler(
        [](const platkit::assertion_t& assertion) { asserted.emplace_back(assertion.condition); });
    const std::string before = readFile("r000/r000.zentor");
    m_result->getPropertyStorage()->setProperty("vesta/note", "x");
    ASSERT_TRUE(m_result->setFlag("project_read_only"));
    // The claim of the parent does not count in a child, and the parent's lock stands.
    EXPECT_EQ(checkInChild([this] {
                  EXPECT_EQ(m_result->addFlag("project_read_only", false), eFileLocked);
                  EXPECT_FALSE(m_result->save());
                  EXPECT_EQ(getStatus(), eNotOwner);
                  EXPECT_EQ(asserted.size(), 1U);
                  EXPECT_TRUE(m_result->isModified());
              }),
              0);
    platkit::set_assertion_handler(old);
    EXPECT_EQ(readFile("r000/r000.zentor"), before);
    m_result->save();
    EXPECT_EQ(getStatus(), eOK) << "its owner may";
}

}  // namespace
