// Flags of nodes, within one process.

#include <atomic>
#include <ctime>

#include "basekit2/host.h"
#include "model_test.h"
#include "platkit/assertion.h"

namespace {

class FlagsTest : public ModelTest {
protected:
    FlagsTest() { play("result r000; hold r r000"); }
};

TEST_F(FlagsTest, OneProcessClaimsAFlagOnceAndLeavesItsRecord) {
    const long now = std::time(nullptr);
    sptr_t<IFlagData> owner;
    for (const auto code : {eOK, eAlreadyExists}) {
        EXPECT_EQ(m_held["r"]->addFlag("busy", owner, false), code);
        EXPECT_GE(owner->getTimestamp(), now);
        EXPECT_EQ(text(owner->getHostname()), basekit2::get_fq_host_name());
    }
    const std::string first = readFile("r000/busy.infozentor");
    // These six values and no more.
    EXPECT_THAT(first,
                testing::ContainsRegex(
                    "int64 n=.timestamp.>[0-9]+<[^=]* <uint32 n=.pid.>" +
                    std::to_string(::getpid()) +
                    "<[^=]* n=.ppid.>[^=]* n=.host.>[^=]* n=.user.>[^=]* n=.os.>[^=]*</bag>\n$"));
    EXPECT_EQ(first.back(), '\0');
    writeFile("r000/unlocked.infozentor", "");
    play("write r000/foreign.dflgzentor; unflag r foreign -> no not-owner");
    const auto named = [](Text name) { return testing::Property(&util::FlagLook::name, name); };
    EXPECT_THAT(util::lookAtFlags("r000"),
                ElementsAre(named("busy"), named("foreign"), named("unlocked")));
    play(R"(clear r unlocked -> ok
            clear r foreign  -> ok
            clear r busy     -> ok
            tree r000        -> r000.zentor
            unflag r busy    -> no not-found
            own r            -> no parameter)");
    EXPECT_EQ(m_held["r"]->addFlag(nullptr, false), eParameterError);
    EXPECT_THROW(util::lookAtFlags("none"), fs::filesystem_error);
}

TEST_F(FlagsTest, EndWithTheNode) {
    // A lock file that another has put in the place of ours is not ours to delete.
    play(R"(flag r one; flag r two; flag r replaced; rm r000/replaced.dflgzentor
            write r000/foreign.dflgzentor r000/replaced.dflgzentor; drop r
            tree r000 -> foreign.dflgzentor r000.zentor replaced.dflgzentor replaced.infozentor)");
    asOrdinaryUser([this] {
        play("result closed; hold r closed; flag r kept");
        util::FlagManager flags;
        flags.setDirectory(at("closed"));
        EXPECT_EQ(flags.writeFlag("other", false, nullptr), eOK);
        play(R"(chmod 500 closed
                clear r kept  -> no permission
                flag r new    -> no access
                flag r kept   -> ok
                move r open   -> no permission
                own r kept    -> ok
                unflag r kept -> no unknown)");
        EXPECT_THROW(flags.eraseAll(), fs::filesystem_error);
        EXPECT_NO_THROW(flags.eraseAll()) << "forgotten all the same";
        play("chmod 700 closed");
    });
}

TEST_F(FlagsTest, SetByThreadsDuringAMoveAreWhereTheNodeIs) {
    constexpr int mostClaims = 1000;
    std::atomic<bool> ended{false};
    std::atomic<int> number{0};
    const ResultHandle moved = result("r");
    // Two threads claim each flag at once: it is had by one of them.
    std::vector<std::string> claimed[2];
    {
        const auto claim = [&](unsigned thread) {
            while (!ended && number < 2 * mostClaims) {
                const std::string name = "flag" + std::to_string(number++ / 2);
                if (object(moved).setFlag(name.c_str())) {
                    claimed[thread].push_back(name);
                }
            }
        };
        const std::jthread claimers(runThreads, 2, claim);
        for (const char* place : {"m1", "m2", "m3", "m4"}) {
            for (const int before = number; number == before && number < 2 * mostClaims;) {
                std::this_thread::yield();
            }
            EXPECT_TRUE(moved->move(place, false, nullptr));
        }
        ended = true;
    }
    claimed[0].insert(claimed[0].end(), claimed[1].begin(), claimed[1].end());
    ASSERT_FALSE(claimed[0].empty());
    for (const std::string& name : claimed[0]) {
        EXPECT_EQ(util::lookAtFlag("m4", name).state(), util::flag_state_t::held) << name;
        EXPECT_EQ(moved->ownFlag(name.c_str()), eOK) << name;
    }
    EXPECT_EQ(util::lookAtFlags("m4").size(), claimed[0].size());
    EXPECT_EQ(namesIn(".").size(), 1U);
}

TEST_F(FlagsTest, AreGivenUpWithTheirDirectory) {
    fs::create_directory("other");
    util::FlagManager flags;
    flags.setDirectory(at("other"));
    ASSERT_EQ(flags.writeFlag("kept", false, nullptr), eOK);
    flags.setDirectory(at("r000"));
    EXPECT_TRUE(fs::is_empty("other"));
    EXPECT_EQ(flags.isFlagOwner("kept"), eNotFound);
    EXPECT_EQ(flags.writeFlag("kept", false, nullptr), eOK);
    play("tree r000 -> kept.dflgzentor kept.infozentor r000.zentor");
}

TEST_F(FlagsTest, NothingIsSavedWhileAnotherProcessKeepsTheNode) {
    static int asserted = 0;
    const auto old =
        platkit::set_assertion_handler([](const platkit::assertion_t& /*it*/) { ++asserted; });
    m_held["r"]->getPropertyStorage()->setProperty("vesta/note", "x");
    play("note r000/r000.zentor; flag r project_read_only");
    checkInChild([this] { m_held.clear(); });
    // The claim of the parent does not count in a child, and the parent's lock stands.
    checkInChild([this] {
        play("flag r project_read_only -> no locked; save r -> ok not-owner");
        EXPECT_EQ(asserted, 1);
        EXPECT_TRUE(m_held["r"]->isModified());
    });
    platkit::set_assertion_handler(old);
    play("unchanged; own r project_read_only -> ok; save r -> ok");  // its owner may
}

}  // namespace
