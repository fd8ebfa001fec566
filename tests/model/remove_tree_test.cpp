#include "vesta/tree/remove_tree.h"

#include <atomic>
#include <cstdio>
#include <thread>

#include "model_test.h"

namespace {

class RemoveTreeTest : public ModelTest {};

TEST_F(RemoveTreeTest, CountsWhatItDeletesAndLeavesWhatLinksLeadTo) {
    writeFile(at("outside/kept"), "kept");
    writeFile(at("tree/a/b/file"), "");
    writeFile(at("tree/file"), "");
    fs::create_symlink(at("outside"), at("tree/a/to-directory"));
    fs::create_symlink(at("outside/kept"), at("tree/to-file"));
    fs::create_symlink(at("nowhere"), at("tree/dangling"));
    ASSERT_EQ(::mkfifo(at("tree/fifo").c_str(), 0600), 0);
    fs::create_symlink(at("outside"), at("link"));

    EXPECT_EQ(removeTree(at("tree")), 9U);
    EXPECT_FALSE(fs::exists(at("tree")));
    EXPECT_EQ(removeTree(at("tree")), 0U);
    EXPECT_EQ(removeTree(at("link")), 1U) << "a link is deleted, not what it leads to";
    EXPECT_FALSE(fs::exists(fs::symlink_status(at("link"))));
    EXPECT_EQ(readFile(at("outside/kept")), "kept");
}

TEST_F(RemoveTreeTest, IsNotLedOutsideByADirectoryThatTurnsIntoALink) {
    constexpr int rounds = 100;
    constexpr int directories = 12;
    std::vector<std::string> places;
    std::vector<std::string> kept;
    for (int i = 0; i < directories; ++i) {
        places.push_back(at("tree/" + std::to_string(i)));
        kept.push_back(at("outside/" + std::to_string(i)));
        writeFile(kept.back(), "kept");
    }
    std::atomic<bool> done{false};
    std::thread swapper([&] {
        const std::string link = at("link");
        const std::string aside = at("aside");
        // A step that comes too late for its round fails, and the next ones undo what came of it.
        while (!done) {
            boost::system::error_code ignored;
            fs::create_symlink(at("outside"), link, ignored);
            for (const std::string& place : places) {
                if (std::rename(place.c_str(), aside.c_str()) == 0) {
                    std::rename(link.c_str(), place.c_str());
                    std::rename(place.c_str(), link.c_str());
                    std::rename(aside.c_str(), place.c_str());
                }
            }
            fs::remove_all(aside, ignored);
        }
    });
    for (int round = 0; round < rounds && !HasFailure(); ++round) {
        for (const std::string& place : places) {
            boost::system::error_code ignored;
            fs::create_directories(place, ignored);
        }
        try {
            removeTree(at("tree"));
        } catch (const fs::filesystem_error&) {
            // Somebody puts back what was deleted: to give up is fine.
        }
        for (const std::string& path : kept) {
            EXPECT_EQ(readFile(path), "kept") << "round " << round;
        }
    }
    done = true;
    swapper.join();
}

}  // namespace
