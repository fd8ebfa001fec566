// Who belongs where, when the disk does not say all: groups that cannot be looked at, copies that
// name the link of their source, names that are taken, links that lead upwards.

#include <atomic>

#include "model_test.h"

namespace {

using MembershipTest = ModelTest;

TEST_F(MembershipTest, LinkOutlivesTheMarkerOfItsGroup) {
    play(R"(project p; result far/r000; add p far/r000; node p/r000.zentorlink
            note far/r000/r000.zentor p/r000.zentorlink; mv p/p.zentorproj aside
            node far/r000/r000.zentor p/r000.zentorlink -> far/r000
            unchanged; mv aside p/p.zentorproj
            node far/r000/r000.zentor -> far/r000 by p/r000.zentorlink in p)");
}

TEST_F(MembershipTest, CopiesLeaveTheLinkOfTheirSourceAlone) {
    play(R"(project p; result far/r000; experiment far/e; add p far/r000 far/e; group p
            node p/r000.zentorlink p/e.zentorexplink; result hostile
            note p/r000.zentorlink p/e.zentorexplink)");
    edit("hostile/hostile.zentor", "backlink", at("p/r000.zentorlink"));
    for (const char* copy : {"backup/r000.zentor", "p/r000/r000.zentor"}) {
        writeFile(copy, readFile("far/r000/r000.zentor"));
    }
    play(R"(duplicate far/e far/e2 -> far/e2
            node backup far/e2 hostile -> backup, far/e2, hostile
            node p/r000            -> p/r000 in p
            node p/r000.zentorlink -> far/r000 by p/r000.zentorlink in p
            unchanged
            mv far/r000 far/moved
            node far/moved p/r000.zentorlink -> far/moved by p/r000.zentorlink in p)");
}

TEST_F(MembershipTest, NameOfAnotherMemberIsRefusedBeforeAnythingChanges) {
    play(R"(project p; result a/r000 b/other b/r000; add p a/r000 b/other; note p/r000.zentorlink
            add p b/r000        -> no exists
            handles             -> 0
            rename b/other r000 -> no exists
            node b/other        -> b/other by p/other.zentorlink in p
            hold n b/r000
            parent n p          -> no exists
            node n              -> b/r000
            group p             -> other.zentorlink r000.zentorlink
            unchanged)");
}

TEST_F(MembershipTest, LinkThatCouldNotBeWrittenIsToldAndTriedAgain) {
    asOrdinaryUser([this] {
        play(R"(project own/p; result far/r000; hold n far/r000; chmod 500 own/p
                add own/p far/r000 -> no unknown
                node n             -> far/r000
                chmod 700 own/p
                add own/p far/r000 -> far/r000 by own/p/r000.zentorlink in own/p
                chmod 500 own/p
                rename n named     -> no unknown
                node n             -> far/r000 by own/p/r000.zentorlink in own/p stale
                chmod 700 own/p
                parent n own/p     -> ok
                node n             -> far/r000 by own/p/named.zentorlink in own/p
                group own/p        -> named.zentorlink)");
    });
}

TEST_F(MembershipTest, MarkerHasOneObjectHoweverItIsReached) {
    const std::string marker = makeResult(at("far/r000"));
    const std::string link = at("p/r000.zentorlink");
    play("project p");
    // As a read-only result that somebody else made, which cannot name the link back.
    for (const std::string& target : {marker, at("far/./r000//r000.zentor"), "/" + marker,
                                      "/.." + marker, std::string("../far/r000/r000.zentor")}) {
        for (const auto& [first, second] : {std::pair{marker, link}, {link, marker}}) {
            SCOPED_TRACE(target + " by " + first);
            edit(marker, "backlink", "");
            writeLink(link, target);
            const NodeHandle node = lookup(first);
            EXPECT_EQ(lookup(second), node);
            EXPECT_TRUE(node && node->isLinked());
            EXPECT_EQ(pathOf(node->getProject()), "p");
            for (const std::string& path :
                 {"/" + marker, "/.." + marker, at("p/../far/r000/r000.zentor"),
                  std::string("./far//r000/r000.zentor")}) {
                EXPECT_EQ(lookup(path), node) << path;
            }
            EXPECT_EQ(Node::lookup("r000/r000.zentor", at("far").c_str()), node);
        }
    }
}

TEST_F(MembershipTest, MissingNodeIsNotBoundOntoAnother) {
    play(R"(project p; result far/r000 far/r001; add p far/r000 far/r001
            hold n p/r000.zentorlink; hold other p/r001.zentorlink
            mv far/r000 far/moved
            relink n far/r001/r001.zentor  -> no exists
            node p/r000.zentorlink         -> far/r000 by p/r000.zentorlink in p missing
            relink n far/moved/r000.zentor -> ok
            node n                         -> far/moved by p/r000.zentorlink in p)");
    EXPECT_EQ(load("p/r000.zentorlink").get_variant("link"), at("far/moved/r000.zentor").c_str());
}

TEST_F(MembershipTest, RemovalTellsTheTruthAndKeepsWhatItCouldNotFinish) {
    asOrdinaryUser([this] {
        play(R"(project own/p; result own/p/r000 far/r001; add own/p far/r001
                chmod 500 own/p/r000
                remove own/p -> no permission
                chmod 700 own/p/r000; chmod 500 far/r001
                remove own/p -> no permission
                chmod 700 far/r001
                node far/r001 -> far/r001 by own/p/r001.zentorlink in own/p
                chmod 0 own/p/r001.zentorlink
                remove own/p -> no unknown
                chmod 600 own/p/r001.zentorlink; chmod 0 far
                remove own/p -> no permission
                purge own/p * 0 -> ok permission
                chmod 700 far
                node far/r001 -> far/r001 by own/p/r001.zentorlink in own/p
                remove own/p -> ok
                tree .       -> far own)");
    });
}

TEST_F(MembershipTest, MarkerThatCannotBeReadIsNeitherReplacedNorLeftOutOfACopy) {
    asOrdinaryUser([this] {
        play(R"(result r000; note r000/r000.zentor; chmod 0 r000/r000.zentor
                export r000 x -> no unknown
                copy r000 x   -> no unknown
                hold n r000   -> r000 unknown
                tree .        -> r000 r000/r000.zentor)");
        EXPECT_EQ(Node::markerState(m_held["n"]), marker_state_t::unreadable);
        m_held["n"]->getPropertyStorage()->setProperty("vesta/k", basekit2::variant_t("v"));
        play("save n -> no unknown; chmod 600 r000/r000.zentor; unchanged");
        EXPECT_TRUE(m_held["n"]->isModified());
    });
}

TEST_F(MembershipTest, LinksThatLeadUpwardsDeleteNothingThere) {
    for (const auto& [link, target] :
         rows<2>("p/e/p.zentorprojlink p/p.zentorproj; p/e/e.zentorexplink p/e/e.zentorexp")) {
        for (const std::string& script : {"purge p/e * 0; rm " + link + R"(
                tree . -> p p/e p/e/e.zentorexp p/p.zentorproj p/r000 p/r000/r000.zentor q q/e.zentorexplink q/q.zentorproj)",
                                          std::string(R"(remove p/e/e.zentorexp
                tree . -> p p/p.zentorproj p/r000 p/r000/r000.zentor q q/q.zentorproj)")}) {
            play("project p q; result p/r000; experiment p/e; result p/e/r001; add q p/e; link " +
                 link + " " + target + "\n" + script + "; remove p; remove q");
        }
    }
}

TEST_F(MembershipTest, LongChainsOfParentsEndWithoutAParent) {
    constexpr int length = 250;
    const auto name = [](int i) { return "e" + std::to_string(i); };
    const auto marker = [&](int i) { return at(name(i) + "/" + name(i) + ".zentorexp"); };
    for (int i = 0; i < length; ++i) {
        const std::string link = at(name(i + 1) + "/" + name(i) + ".zentorexplink");
        variant_bag_t bag;
        bag.put_bag("vesta").put("backlink", link);
        fs::create_directories(name(i));
        ASSERT_EQ(createDefaultMarkerFile(name(i), ".zentorexp", bag), eOK);
        writeLink(link, marker(i));
    }
    onStack(256 * 1024, [&] {
        int parents = 0;
        for (const int first : {0, 40}) {
            for (NodeHandle node = lookup(marker(first)); node; node = node->getParent()) {
                ++parents;
            }
        }
        EXPECT_EQ(parents, 2 * 65);
    });
    EXPECT_TRUE(fs::exists("e150/e149.zentorexplink")) << "opening took nothing apart";
}

TEST_F(MembershipTest, LookUpOfADeletedMarkerGivesNoNode) {
    const std::string marker = makeResult("r000");
    const std::string properties = readFile(marker);
    std::atomic<int> empty{0};
    const std::jthread finder([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            const NodeHandle node = lookup(marker);
            empty += node && Node::markerState(node) == marker_state_t::absent ? 1 : 0;
        }
    });
    for (int round = 0; round < 20'000 && empty == 0; ++round) {
        fs::remove(marker);
        fs::rename("r000", "aside");
        fs::rename("aside", "r000");
        writeFile(marker, properties);
    }
    EXPECT_EQ(empty, 0);
}

}  // namespace
