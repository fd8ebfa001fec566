// Several processes and threads make nodes in one place.

#include <array>
#include <atomic>
#include <mutex>

#include "model/model_test.h"

namespace {

class CreationTest : public ModelTest {
protected:
    static void runProcesses(int count, const std::function<bool()>& work) {
        std::vector<support::ChildProcess> children;
        for (int i = 0; i < count; ++i) {
            children.emplace_back([&] { return work() ? 0 : 1; });
        }
        for (support::ChildProcess& child : children) {
            EXPECT_EQ(child.wait(), 0);
        }
    }
    /// The names of results in "made", each of which must have its creation record.
    static std::set<std::string> madeResults() {
        std::set<std::string> names = namesIn("made");
        for (const std::string& name : names) {
            const std::string marker = "made/" + name + "/" + name + ".zentor";
            EXPECT_TRUE(load(marker).put_bag("vesta").has("timestamp")) << name;
        }
        return names;
    }
    static std::set<std::string> numbered(int count) {
        std::set<std::string> names;
        for (int number = 0; number < count; ++number) {
            const std::string digits = std::to_string(number);
            names.insert("r" + std::string(digits.size() < 3 ? 3 - digits.size() : 0, '0') +
                         digits);
        }
        return names;
    }
};

TEST_F(CreationTest, ProcessesMakeConsecutiveResultsFromOnePattern) {
    constexpr int processes = 8;
    constexpr int each = 250;
    runProcesses(processes, [] {
        int made = 0;
        while (made < each && Results::create("made/r@@@", false, nullptr, false, nullptr)) {
            ++made;
        }
        return made == each;
    });
    EXPECT_EQ(madeResults(), numbered(processes * each));
}

TEST_F(CreationTest, ProcessesGetOneNameWithItsCreationRecord) {
    constexpr int names = 400;
    runProcesses(4, [] {
        int name = 0;
        while (name < names &&
               Results::get(("made/x" + std::to_string(name)).c_str(), nullptr, false)) {
            ++name;
        }
        return name == names;
    });
    EXPECT_EQ(madeResults().size(), std::size_t{names});
}

TEST_F(CreationTest, ThreadsMakeResultsInOneProject) {
    constexpr int each = 100;
    makeProject("made");
    std::mutex mutex;
    std::multiset<std::string> made;
    runThreads(4, [&](unsigned) {
        for (int i = 0; i < each; ++i) {
            const auto result = Results::create("r@@@", false, nullptr, false, "made");
            const std::lock_guard lock(mutex);
            made.insert(result ? fs::path(result->getPath()).filename().native() : "none");
        }
    });
    const std::set<std::string> expected = numbered(4 * each);
    EXPECT_EQ(made, std::multiset<std::string>(expected.begin(), expected.end()));
}

/// Each round one thread makes the project; the other finds it, made in part or whole.
TEST_F(CreationTest, ThreadsMakeOneProjectAndBothCanSaveIt) {
    constexpr std::size_t rounds = 300;
    std::array<std::vector<sptr_t<IProject>>, 2> made;
    std::atomic<std::size_t> arrived{0};
    runThreads(2, [&](unsigned thread) {
        for (std::size_t round = 0; round < rounds; ++round) {
            ++arrived;
            while (arrived < 2 * (round + 1)) {
                std::this_thread::yield();
            }
            made[thread].push_back(makeProject(std::to_string(round)));
        }
    });
    for (std::size_t round = 0; round < rounds; ++round) {
        ASSERT_TRUE(made[0][round] && made[1][round]) << round;
        EXPECT_EQ(made[0][round].get(), made[1][round].get()) << round;
        made[0][round]->save();
        EXPECT_EQ(getStatus(), eOK) << round;
    }
}

}  // namespace
