// Who belongs where, when the disk does not say all: groups that cannot be looked at, copies that
// name the link of their source, names that are taken, links that lead upwards.

#include <pthread.h>

#include <cstdlib>
#include <new>
#include <thread>

#include "model_test.h"

namespace {

/// So many allocations of this thread work before one fails; -1 for all.
thread_local long allocationsLeft = -1;

[[maybe_unused]] void* allocate(std::size_t size) {
    if (allocationsLeft >= 0 && allocationsLeft-- == 0) {
        throw std::bad_alloc();
    }
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

}  // namespace

// A sanitizer has allocation functions of its own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define VESTA2_ALLOCATIONS_CAN_FAIL
void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
#endif

namespace {

class MembershipTest : public ModelTest {
protected:
    /// A result at `place` that is linked into the project `group`, which is made when it is not
    /// there; both closed. Returns its marker file.
    std::string makeMember(const std::string& place, const std::string& group) const {
        const std::string marker = makeResult(at(place));
        const auto project = fs::exists(at(group)) ? IProject::open(at(group).c_str(), nullptr)
                                                   : makeProject(at(group));
        EXPECT_TRUE(project->getNodeGroup()->addNode(at(place).c_str()));
        return marker;
    }
    std::vector<std::string> members(const std::string& group) const {
        std::vector<std::string> found;
        const auto opened = INodeGroup::open(at(group).c_str());
        for (auto nodes = opened->getNodes(nullptr, 0); !nodes.at_end(); nodes.next()) {
            const NodeHandle node = nodes.current();
            found.push_back(node ? text(node->getPath()) : "(none)");
        }
        return found;
    }
    static void copyTree(const fs::path& from, const fs::path& to) {
        fs::create_directories(to);
        for (const fs::directory_entry& entry : fs::directory_iterator(from)) {
            fs::copy_file(entry.path(), to / entry.path().filename());
        }
    }
};

TEST_F(MembershipTest, LookingNeverTakesANodeOutOfItsGroup) {
    using Act = std::function<void()>;
    asOrdinaryUser([this] {
        const std::string marker = makeMember("own/far/r000", "own/p");
        const std::string project = at("own/p/p.zentorproj");
        const std::string link = at("own/p/r000.zentorlink");
        const auto mode = [this](const char* name, int bits) {
            fs::permissions(at(name), static_cast<fs::perms>(bits));
        };
        // What is in the way, and how it goes away again.
        const Rows<Text, Act, Act> cases = {
            {"group that cannot be listed", [&] { mode("own/p", 0311); },
             [&] { mode("own/p", 0700); }},
            {"group that cannot be entered", [&] { mode("own/p", 0600); },
             [&] { mode("own/p", 0700); }},
            {"link that cannot be read", [&] { mode("own/p/r000.zentorlink", 0); },
             [&] { mode("own/p/r000.zentorlink", 0600); }},
            {"marker of the group that cannot be read", [&] { mode("own/p/p.zentorproj", 0); },
             [&] { mode("own/p/p.zentorproj", 0600); }},
            {"group without its marker for a while", [&] { fs::rename(project, at("own/aside")); },
             [&] { fs::rename(at("own/aside"), project); }}};
        for (const auto& [what, hinder, mend] : cases) {
            SCOPED_TRACE(what);
            const std::string before = readFile(link);
            const std::string properties = readFile(marker);
            hinder();
            for (const std::string& path : {marker, link}) {
                const NodeHandle node = lookup(path);
                if (node) {
                    node->isMissing();
                    node->getProject();
                    Node::markerState(node);
                }
            }
            mend();
            EXPECT_EQ(readFile(link), before);
            EXPECT_EQ(readFile(marker), properties);
            EXPECT_EQ(lookup(marker)->getLinkFilePath(), link);
            EXPECT_EQ(text(lookup(link)->getProject()->getPath()), at("own/p"));
        }
        EXPECT_EQ(readFile(marker).find("r000.zentorlink") == std::string::npos, false);
    });
}

TEST_F(MembershipTest, CopiesLeaveTheLinkOfTheirSourceAlone) {
    const std::string marker = makeMember("far/r000", "p");
    const std::string link = at("p/r000.zentorlink");
    lookup(link);  // brings the checksum in line with the marker that names the link
    makeExperiment(at("far/e"));
    ASSERT_TRUE(INodeGroup::open(at("p").c_str())->addNode(at("far/e").c_str()));
    lookup(at("p/e.zentorexplink"));
    const std::string before = readFile(link) + readFile(at("p/e.zentorexplink"));

    copyTree(at("far/r000"), at("backup/r000"));
    copyTree(at("far/r000"), at("p/r000"));
    makeResult(at("hostile"));
    edit(at("hostile/hostile.zentor"), "backlink", link);
    const auto experiment = IExperiment::open(at("far/e").c_str(), nullptr);
    const NodeHandle duplicate = experiment->duplicate(at("far/e2").c_str());
    ASSERT_TRUE(duplicate);
    for (const std::string& copy :
         {at("backup/r000/r000.zentor"), at("p/r000/r000.zentor"), at("hostile/hostile.zentor"),
          std::string(duplicate->getMarkerFilePath())}) {
        SCOPED_TRACE(copy);
        const NodeHandle node = lookup(copy);
        ASSERT_TRUE(node);
        EXPECT_FALSE(node->isLinked());
        EXPECT_EQ(readFile(link) + readFile(at("p/e.zentorexplink")), before);
    }
    EXPECT_EQ(text(lookup(link)->getMarkerFilePath()), marker);

    // A node that was moved is no copy: the link follows it.
    fs::rename(at("far/r000"), at("far/moved"));
    EXPECT_EQ(lookup(at("far/moved/r000.zentor"))->getLinkFilePath(), link);
    EXPECT_EQ(text(lookup(link)->getPath()), at("far/moved"));
}

TEST_F(MembershipTest, NameOfAnotherMemberIsRefusedBeforeAnythingChanges) {
    makeMember("a/r000", "p");
    makeMember("b/other", "p");
    makeResult(at("b/r000"));
    const std::string link = at("p/r000.zentorlink");
    const std::string before = readFile(link);
    const auto project = IProject::open(at("p").c_str(), nullptr);

    EXPECT_FALSE(project->getNodeGroup()->addNode(at("b/r000").c_str()));
    EXPECT_EQ(getStatus(), eAlreadyExists);
    EXPECT_EQ(Node::handleCount(), 1U);
    const NodeHandle other = lookup(at("b/other/other.zentor"));
    EXPECT_FALSE(other->changeUserVisibleName("r000"));
    EXPECT_EQ(getStatus(), eAlreadyExists);
    EXPECT_TRUE(fs::exists(at("b/other/other.zentor")));
    const NodeHandle second = lookup(at("b/r000/r000.zentor"));
    EXPECT_FALSE(second->setParent(at("p").c_str()));
    EXPECT_FALSE(second->getParent());
    EXPECT_EQ(readFile(link), before);
    EXPECT_EQ(members("p"), (std::vector<std::string>{at("b/other"), at("a/r000")}));
}

TEST_F(MembershipTest, LinkThatCouldNotBeWrittenIsToldAndTriedAgain) {
    asOrdinaryUser([this] {
        makeProject(at("own/p"));
        makeResult(at("own/far/r000"));
        const auto project = IProject::open(at("own/p").c_str(), nullptr);
        const NodeHandle node = lookup(at("own/far/r000/r000.zentor"));
        lock("own/p");
        EXPECT_FALSE(project->getNodeGroup()->addNode(at("own/far/r000").c_str()));
        EXPECT_NE(getStatus(), eOK);
        EXPECT_FALSE(node->isLinked());
        EXPECT_FALSE(node->getParent());
        unlock("own/p");
        EXPECT_EQ(project->getNodeGroup()->addNode(at("own/far/r000").c_str()), node);
        EXPECT_EQ(getStatus(), eOK);
        EXPECT_TRUE(fs::exists(at("own/p/r000.zentorlink")));

        lock("own/p");
        EXPECT_FALSE(node->changeUserVisibleName("named"));
        EXPECT_NE(getStatus(), eOK);
        EXPECT_EQ(node->getLinkFilePath(), at("own/p/r000.zentorlink")) << "it is not forgotten";
        unlock("own/p");
        EXPECT_TRUE(node->setParent(at("own/p").c_str()));
        EXPECT_EQ(node->getLinkFilePath(), at("own/p/named.zentorlink"));
        EXPECT_EQ(members("own/p"), std::vector<std::string>{at("own/far/r000")});
    });
}

TEST_F(MembershipTest, MarkerHasOneObjectHoweverItIsReached) {
    const std::string marker = makeResult(at("far/r000"));
    makeProject(at("p"));
    const std::string link = at("p/r000.zentorlink");
    // As a read-only result that somebody else made, which cannot name the link back.
    for (const std::string& target : {marker, at("far/./r000//r000.zentor"), "/" + marker,
                                      "/.." + marker, std::string("../far/r000/r000.zentor")}) {
        for (const auto& [first, second] : {std::pair{marker, link}, {link, marker}}) {
            SCOPED_TRACE(target + " by " + first);
            edit(marker, "backlink", "");
            writeLink(link, target);
            const NodeHandle node = lookup(first);
            ASSERT_TRUE(node);
            EXPECT_EQ(lookup(second), node);
            EXPECT_TRUE(node->isLinked());
            EXPECT_EQ(text(node->getProject()->getPath()), at("p"));
        }
    }
    for (const std::string& path :
         {"/" + marker, "/.." + marker, at("p/../far/r000/r000.zentor")}) {
        EXPECT_EQ(lookup(path), lookup(marker)) << path;
    }
}

TEST_F(MembershipTest, MissingNodeIsNotBoundOntoAnother) {
    const std::string marker = makeMember("far/r000", "p");
    makeMember("far/r001", "p");
    const NodeHandle node = lookup(at("p/r000.zentorlink"));
    const NodeHandle other = lookup(at("p/r001.zentorlink"));
    setStatus(eFileLocked);
    EXPECT_FALSE(node->changeMarkerFilePath(other->getMarkerFilePath()));
    EXPECT_EQ(getStatus(), eFileLocked) << "it is not missing: nothing was tried";
    fs::rename(at("far/r000"), at("far/moved"));
    EXPECT_FALSE(node->changeMarkerFilePath(other->getMarkerFilePath()));
    EXPECT_EQ(getStatus(), eAlreadyExists);
    EXPECT_EQ(lookup(at("p/r000.zentorlink")), node);

    const fs::path before = fs::current_path();
    fs::current_path(at("far"));
    EXPECT_TRUE(node->changeMarkerFilePath("moved/r000.zentor"));
    fs::current_path(before);
    EXPECT_EQ(text(node->getMarkerFilePath()), at("far/moved/r000.zentor"));
    EXPECT_EQ(load(at("p/r000.zentorlink")).get_variant("link"),
              at("far/moved/r000.zentor").c_str());
}

TEST_F(MembershipTest, RemovalTellsTheTruthAndKeepsWhatItCouldNotFinish) {
    asOrdinaryUser([this] {
        makeProject(at("own/p"));
        const std::string inside = makeResult(at("own/p/r000"));
        const std::string linked = makeMember("own/far/r001", "own/p");
        for (const char* held : {"own/p/r000", "own/far/r001"}) {
            SCOPED_TRACE(held);
            lock(held);
            EXPECT_FALSE(lookup(at("own/p/p.zentorproj"))->remove());
            EXPECT_EQ(getStatus(), eInsufficientPermissions);
            unlock(held);
            EXPECT_TRUE(lookup(at("own/p/p.zentorproj")));
        }
        EXPECT_EQ(text(lookup(linked)->getProject()->getPath()), at("own/p"));
        fs::permissions(at("own/p/r001.zentorlink"), fs::no_perms);
        EXPECT_FALSE(lookup(at("own/p/p.zentorproj"))->remove()) << "a child that is not known";
        fs::permissions(at("own/p/r001.zentorlink"), fs::owner_all);
        setStatus(eFileLocked);
        EXPECT_TRUE(lookup(at("own/p/p.zentorproj"))->remove());
        EXPECT_EQ(getStatus(), eOK);
        EXPECT_FALSE(fs::exists(at("own/p")) || fs::exists(at("own/far/r001")));
    });
}

TEST_F(MembershipTest, RemovedNodeLeavesItsPlaceToTheNext) {
    const std::string marker = makeResult(at("r000"));
    NodeHandle old = lookup(marker);
    old->getPropertyStorage()->setProperty("mine", basekit2::variant_t("old"));
    old->setRemoveOnClose(true);
    EXPECT_TRUE(old->remove());
    EXPECT_EQ(makeResult(at("r000")), marker);
    const NodeHandle fresh = lookup(marker);
    EXPECT_NE(fresh, old);
    EXPECT_FALSE(fresh->getPropertyStorage()->hasProperty("mine"));
    EXPECT_TRUE(old->save());
    EXPECT_EQ(getStatus(), eNotFound);
    EXPECT_TRUE(old->remove());
    old.reset();
    EXPECT_FALSE(load(marker).has("mine"));
}

TEST_F(MembershipTest, LinksThatLeadUpwardsDeleteNothingThere) {
    const std::string project = at("p/p.zentorproj");
    const std::string experiment = at("p/e/e.zentorexp");
    const Rows<Text, std::string> links = {{"p/e/p.zentorprojlink", project},
                                           {"p/e/e.zentorexplink", experiment}};
    for (const auto& [link, target] : links) {
        for (const bool purges : {true, false}) {
            SCOPED_TRACE(link + std::string(purges ? " purged" : " removed"));
            makeProject(at("p"));
            makeResult(at("p/r000"));
            makeExperiment(at("p/e"));
            makeResult(at("p/e/r001"));
            makeProject(at("q"))->getNodeGroup()->addNode(at("p/e").c_str());
            writeLink(at(link), target);
            const NodeHandle node = lookup(experiment);
            purges ? node->getNodeGroup()->purge("*", 0) : static_cast<void>(node->remove());
            EXPECT_TRUE(fs::exists(project) && fs::exists(at("p/r000/r000.zentor")));
            EXPECT_EQ(fs::exists(experiment), purges);
            EXPECT_EQ(fs::exists(at("q/e.zentorexplink")), purges) << "how it is a member";
            EXPECT_FALSE(fs::exists(at("p/e/r001")));
            lookup(project)->remove();
            lookup(at("q/q.zentorproj"))->remove();
        }
    }
}

TEST_F(MembershipTest, LinkLeadsOutOfItsGroupByNoSymbolicLink) {
    makeProject(at("p"));
    makeResult(at("far/r000"));
    const std::string link = at("p/r000.zentorlink");
    variant_bag_t bag;
    bag.put("mine", 1);
    ASSERT_EQ(basekit2::save_variant_bag(bag, at("victim")), basekit2::bag_ok);
    const std::string before = readFile(at("victim"));
    for (const char* target : {"victim", "nothing"}) {
        fs::create_symlink(at(target), link);
        EXPECT_FALSE(INodeGroup::open(at("p").c_str())->addNode(at("far/r000").c_str()));
        EXPECT_NE(getStatus(), eOK);
        EXPECT_EQ(readFile(at("victim")), before);
        EXPECT_FALSE(fs::exists(at("nothing")));
        fs::remove(link);
    }
}

TEST_F(MembershipTest, DamagedLinkStandsForNoDirectory) {
    writeFile(at("g/thesis.txt"), "mine");
    const std::string link = at("g/r000.zentorlink");
    for (const std::string& text : {std::string(), std::string("junk"), std::string("to thesis")}) {
        SCOPED_TRACE(text);
        writeFile(link, text);
        if (text == "to thesis") {
            writeLink(link, at("g/thesis.txt"));
        }
        const ResultHandle result = IResultDirectory::cast(lookup(link));
        ASSERT_TRUE(result);
        result->setFinalized(true);
        result->setInvalid();
        EXPECT_FALSE(result->setFlag("busy"));
        EXPECT_FALSE(result->createCollectorDataDir());
        EXPECT_FALSE(result->copy(at("copy").c_str(), false, nullptr));
        EXPECT_FALSE(result->move(at("copy").c_str(), false, nullptr));
        EXPECT_FALSE(result->duplicate(at("copy").c_str()));
        EXPECT_FALSE(result->exportTo(at("copy").c_str(), nullptr));
        EXPECT_TRUE(result->remove());
        EXPECT_FALSE(fs::exists(link));
        EXPECT_EQ(std::distance(fs::directory_iterator(at("g")), fs::directory_iterator()), 1);
        EXPECT_EQ(std::distance(fs::directory_iterator(at("")), fs::directory_iterator()), 1);
    }
}

TEST_F(MembershipTest, NodeThatCannotBeLookedAtKeepsItsLink) {
    asOrdinaryUser([this] {
        const std::string marker = makeMember("own/priv/r000", "own/p");
        const std::string link = at("own/p/r000.zentorlink");
        fs::permissions(at("own/priv"), fs::no_perms);
        INodeGroup::open(at("own/p").c_str())->purge("*", 0);
        EXPECT_EQ(getStatus(), eInsufficientPermissions);
        EXPECT_FALSE(lookup(at("own/p/p.zentorproj"))->remove());
        fs::permissions(at("own/priv"), fs::owner_all);
        EXPECT_EQ(lookup(link)->getMarkerFilePath(), marker);

        fs::permissions(marker, fs::no_perms);
        EXPECT_FALSE(openResult(at("own/priv/r000"))->exportTo(at("own/x").c_str(), nullptr));
        EXPECT_FALSE(openResult(at("own/priv/r000"))->copy(at("own/x").c_str(), false, nullptr));
        EXPECT_FALSE(fs::exists(at("own/x"))) << "a copy without the properties";
        fs::permissions(marker, fs::owner_all);
    });
}

TEST_F(MembershipTest, PurgeTellsHowItsSearchEnded) {
    makeResult(at("r000"));
    const auto group = INodeGroup::open(m_temp.path().c_str());
    for (const auto& [mask, code] : Rows<Text, vesta2::error_t>{{"x*", eReservedCharacters},
                                                                {"r@@", eOK},
                                                                {"a@b@", eParameterError},
                                                                {"none", eNotFound}}) {
        group->purge(mask, 1);
        EXPECT_EQ(getStatus(), code) << mask;
    }
}

TEST_F(MembershipTest, MarkerThatCannotBeReadIsNeverReplaced) {
    asOrdinaryUser([this] {
        const std::string marker = makeResult(at("own/r000"));
        const std::string before = readFile(marker);
        fs::permissions(marker, fs::no_perms);
        const NodeHandle node = lookup(marker);
        EXPECT_EQ(Node::markerState(node), marker_state_t::unreadable);
        node->getPropertyStorage()->setProperty("vesta/k", basekit2::variant_t("v"));
        EXPECT_TRUE(node->save());
        EXPECT_EQ(getStatus(), eUnknown);
        EXPECT_TRUE(node->isModified());
        fs::permissions(marker, fs::owner_all);
        EXPECT_EQ(readFile(marker), before);
    });
}

TEST_F(MembershipTest, NodeThatCouldNotBeMadeIsNotRegistered) {
#ifndef VESTA2_ALLOCATIONS_CAN_FAIL
    GTEST_SKIP() << "allocations cannot be made to fail under a sanitizer";
#endif
    const std::string marker = makeMember("far/r000", "p");
    makeExperiment(at("p/e"));
    for (const std::string& path : {marker, at("p/r000.zentorlink"), at("p/e/e.zentorexp")}) {
        bool isMade = false;
        for (long most = 0; !isMade; ++most) {
            ASSERT_LT(most, 10'000);
            try {
                allocationsLeft = most;
                isMade = static_cast<bool>(lookup(path));
            } catch (const std::bad_alloc&) {
            }
            allocationsLeft = -1;
            ASSERT_EQ(Node::handleCount(), 0U) << path << " after " << most << " allocations";
        }
    }
}

TEST_F(MembershipTest, LongChainsOfParentsEndWithoutAParent) {
    constexpr int length = 250;
    const auto marker = [this](int i) {
        const std::string name = "e" + std::to_string(i);
        return at(name + "/" + name + ".zentorexp");
    };
    const auto directory = [this](int i) { return at("e" + std::to_string(i)); };
    for (int i = 0; i < length; ++i) {
        const std::string link =
            directory(i + 1) + "/" + fs::path(marker(i)).filename().native() + "link";
        variant_bag_t bag;
        bag.put_bag("vesta").put("backlink", link);
        fs::create_directories(directory(i));
        ASSERT_EQ(createDefaultMarkerFile(directory(i), ".zentorexp", bag), eOK);
        writeLink(link, marker(i));
    }
    int parents = 0;
    std::function<void()> open = [&] {
        for (NodeHandle node = lookup(marker(0)); node; node = node->getParent()) {
            ++parents;
        }
        for (NodeHandle node = lookup(marker(40)); node; node = node->getParent()) {
            ++parents;
        }
    };
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
#ifdef VESTA2_ALLOCATIONS_CAN_FAIL
    pthread_attr_setstacksize(&attributes, 256 * 1024);
#endif
    pthread_t thread{};
    const auto run = [](void* work) -> void* {
        (*static_cast<std::function<void()>*>(work))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &open), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    EXPECT_EQ(parents, 2 * 65);
    EXPECT_TRUE(fs::exists(at("e150/e149.zentorexplink"))) << "opening took nothing apart";
}

TEST_F(MembershipTest, ThreadsMayAskForProjectsWhileNodesChangeTheirs) {
    const std::string marker = makeMember("far/r000", "p");
    makeProject(at("q"));
    const NodeHandle node = lookup(marker);
    std::thread asker([&] {
        for (int i = 0; i < 300; ++i) {
            const auto project = node->getProject();
            EXPECT_TRUE(project);
        }
    });
    for (int i = 0; i < 30; ++i) {
        EXPECT_TRUE(node->setParent(at(i % 2 == 0 ? "q" : "p").c_str()));
    }
    asker.join();
}

TEST_F(MembershipTest, LookUpOfADeletedMarkerGivesNoNode) {
    const std::string marker = makeResult(at("r000"));
    const std::string properties = readFile(marker);
    std::atomic<bool> done{false};
    std::atomic<int> empty{0};
    std::thread finder([&] {
        while (!done) {
            const NodeHandle node = lookup(marker);
            empty += node && Node::markerState(node) == marker_state_t::absent ? 1 : 0;
        }
    });
    for (int round = 0; round < 20'000; ++round) {
        fs::remove(marker);
        fs::rename(at("r000"), at("aside"));
        fs::rename(at("aside"), at("r000"));
        writeFile(marker, properties);
    }
    done = true;
    finder.join();
    EXPECT_EQ(empty, 0);
}

}  // namespace
