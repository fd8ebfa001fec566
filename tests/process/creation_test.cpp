// Threads make nodes in one place.

#include <atomic>

#include "model/model_test.h"

namespace {

using CreationTest = ModelTest;

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
