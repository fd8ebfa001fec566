#include <atomic>
#include <mutex>
#include <random>
#include <thread>

#include "model_test.h"

namespace {

class RegistryTest : public ModelTest {};

TEST_F(RegistryTest, HoldsOneObjectPerMarkerUnderItsNormalPath) {
    const std::string marker = makeResult(at("r000"));
    const std::string other = makeResult(at("r001"));
    const unsigned made = Node::nodeCount();
    NodeHandle node = lookup(marker);
    for (const char* path :
         {"r000/r000.zentor", "./r000//r000.zentor", "r001/../r000/./r000.zentor"}) {
        EXPECT_EQ(Node::lookup(path, m_temp.path().c_str()).get(), node.get()) << path;
        EXPECT_EQ(lookup(at(path)).get(), node.get()) << path;
    }
    EXPECT_EQ(node->add_ref(), 2U);
    EXPECT_EQ(node->release(), 1U);
    const NodeHandle second = lookup(other);
    EXPECT_NE(Node::uid(second), Node::uid(node));
    EXPECT_EQ(Node::uid({}), 0U);
    EXPECT_EQ(Node::handleCount(), 2U);
    node.reset();
    EXPECT_EQ(Node::handleCount(), 1U);
    EXPECT_FALSE(lookup(at("r002/r002.zentor")));
    EXPECT_FALSE(lookup(""));
    EXPECT_EQ(Node::nodeCount(), made + 2) << "counts what was made, not what is alive";
}

TEST_F(RegistryTest, ResetForgetsNodesThatLiveOn) {
    const std::string marker = makeResult(at("r000"));
    const NodeHandle old = lookup(marker);
    Node::reset();
    EXPECT_EQ(Node::nodeCount(), 0U);
    EXPECT_EQ(Node::handleCount(), 0U);
    NodeHandle fresh = lookup(marker);
    EXPECT_NE(fresh.get(), old.get());
    EXPECT_EQ(Node::uid(fresh), 1U);
    std::string key = marker;
    EXPECT_TRUE(Node::eraseFromMap(key));
    EXPECT_FALSE(Node::eraseFromMap(key));
}

TEST_F(RegistryTest, RemoveOnCloseActsAtTheLastReleaseUnlessTakenBack) {
    const Rows<Text, std::function<void(INode&)>, bool> cases = {
        {"set", [](INode& node) { node.setRemoveOnClose(true); }, false},
        {"saved", [](INode& node) { node.setRemoveOnClose(true), node.save(); }, true},
        {"unset", [](INode& node) { node.setRemoveOnClose(true), node.setRemoveOnClose(false); },
         true},
        {"set-late", [](INode& node) { node.save(), node.setRemoveOnClose(true); }, false}};
    for (const auto& [name, prepare, stays] : cases) {
        NodeHandle node = lookup(makeResult(at(name)));
        NodeHandle copy = node;
        prepare(*node);
        node.reset();
        EXPECT_TRUE(fs::exists(at(name))) << name;
        copy.reset();
        EXPECT_EQ(fs::exists(at(name)), stays) << name;
    }
}

TEST_F(RegistryTest, ProjectRemovedOnCloseTakesItsNodesWithItAndIsNotFoundMeanwhile) {
    auto project = makeProject(at("p"), true);
    ASSERT_TRUE(project);
    makeResult(at("p/r000"));
    makeResult(at("elsewhere/r001"));
    ASSERT_TRUE(project->getNodeGroup()->addNode(at("elsewhere/r001").c_str()));
    makeExperiment(at("p/e"));
    makeResult(at("p/e/r002"));
    const unsigned made = Node::nodeCount();
    project.reset();
    EXPECT_FALSE(fs::exists(at("p")));
    EXPECT_FALSE(fs::exists(at("elsewhere/r001"))) << "a linked node goes where it is stored";
    EXPECT_TRUE(fs::exists(at("elsewhere")));
    EXPECT_EQ(Node::nodeCount(), made + 4)
        << "its four nodes, and no second object for the project";

    project = makeProject(at("q"), true);
    makeResult(at("q/r000"));
    ResultHandle child = openResult(at("q/r000"));
    project.reset();
    EXPECT_TRUE(fs::exists(at("q/r000"))) << "the child holds its project";
    child.reset();
    EXPECT_FALSE(fs::exists(at("q")));
}

void runThreads(int count, const std::function<void(unsigned)>& work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back(work, i);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(RegistryTest, ThreadsShareNodesThatTheyOpenAndDrop) {
    constexpr std::size_t nodes = 100;
    std::vector<std::string> markers;
    {
        const auto project = makeProject(at("p"));
        for (std::size_t i = 0; i < nodes; ++i) {
            // A quarter of them is linked.
            const std::string place = (i % 4 == 0 ? "far/r" : "p/r") + std::to_string(i);
            markers.push_back(makeResult(at(place)));
            project->getNodeGroup()->addNode(at(place).c_str());
        }
    }
    // The object that is open for each marker, as those who hold it see it.
    std::mutex mutex;
    std::vector<std::pair<const INode*, int>> holders(nodes);
    const auto hold = [&](std::size_t i, const INode* node, int change) {
        const std::lock_guard lock(mutex);
        auto& [seen, count] = holders[i];
        const bool agrees = count == 0 || seen == node;
        seen = node;
        count += change;
        return agrees;
    };
    std::atomic<int> faults{0};
    runThreads(8, [&](unsigned seed) {
        std::mt19937 random(seed);
        std::vector<NodeHandle> kept(8);
        for (int round = 0; round < 600; ++round) {
            const std::size_t i = random() % nodes;
            const NodeHandle node = lookup(markers[i]);
            faults += node && hold(i, node.get(), 1) ? 0 : 1;
            NodeHandle copy = node;
            faults += lookup(markers[i]) == copy ? 0 : 1;
            kept[random() % kept.size()] = std::move(copy);
            hold(i, node.get(), -1);
        }
    });
    EXPECT_EQ(faults, 0);
}

TEST_F(RegistryTest, NodeThatIsDeletedIsFoundWholeOrNotAtAll) {
    std::atomic<bool> done{false};
    runThreads(4, [&](unsigned role) {
        for (int round = 0; role == 0 && round < 60; ++round) {
            try {
                const auto project = makeProject(at("p"), true);
                makeResult(at("p/r000"));
            } catch (const fs::filesystem_error&) {
                // A finder had the last handle, and deletes what is just being made.
            }
        }
        done = done || role == 0;
        while (!done) {
            const NodeHandle node = lookup(at("p/p.zentorproj"));
            EXPECT_EQ(node ? node->getPath() : at("p"), at("p"));
        }
    });
}

}  // namespace
