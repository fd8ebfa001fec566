// Several processes and threads make nodes in one place.

#include <atomic>

#include "model/model_test.h"
#include "support/child_process.h"

namespace {

using CreationTest = ModelTest;

TEST_F(CreationTest, ProcessesAndThreadsMakeConsecutiveResultsAndShareNamedOnes) {
    constexpr int processes = 4;
    constexpr int threads = 2;
    constexpr int each = 200;
    makeProject("made");
    std::vector<support::ChildProcess> children;
    for (int i = 0; i < processes; ++i) {
        children.emplace_back([] {
            std::atomic<int> made{0};
            runThreads(threads, [&](unsigned) {
                for (int n = 0; n < each; ++n) {
                    const auto next = Results::create("r@@@", false, nullptr, false, "made");
                    const std::string name = "shared/x" + std::to_string(n);
                    made += next && Results::get(name.c_str(), nullptr, false) ? 1 : 0;
                }
            });
            return made == threads * each ? 0 : 1;
        });
    }
    for (support::ChildProcess& child : children) {
        EXPECT_EQ(child.wait(), 0);
    }
    std::set<std::string> expected{"made.zentorproj"};
    for (int number = 0; number < processes * threads * each; ++number) {
        expected.insert(resultName(number));
    }
    EXPECT_EQ(namesIn("made"), expected);
    EXPECT_EQ(namesIn("shared").size(), std::size_t{each});
    // All have the record of their creation, whoever found them meanwhile.
    for (const std::string place : {"made/", "shared/"}) {
        for (const std::string& name : namesIn(place)) {
            EXPECT_TRUE(
                name == "made.zentorproj" ||
                load(place + name + "/" + name + ".zentor").put_bag("vesta").has("timestamp"));
        }
    }
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
