#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <boost/filesystem/operations.hpp>
#include <chrono>
#include <functional>
#include <mutex>
#include <random>
#include <set>
#include <thread>

#include "basekit2/bag_io.h"
#include "support/temp_directory.h"
#include "vesta2/vesta2.h"

namespace fs = boost::filesystem;
using namespace vesta2;

namespace {

pid_t runInChild(const std::function<int()>& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(work());
    }
    return child;
}

int join(pid_t child) {
    int status = -1;
    ::waitpid(child, &status, 0);
    return status;
}

basekit2::sptr_t<IResultDirectory> createNext(const std::string& pattern) {
    return ResultDirectoryManager::create(pattern.c_str(), false, nullptr, false, nullptr);
}

bool isReadable(const std::string& marker) {
    basekit2::variant_bag_t bag;
    return basekit2::load_variant_bag(bag, marker, "") == basekit2::bag_ok &&
           bag.get_bag("vesta") && bag.get_bag("vesta")->has("timestamp");
}

std::set<std::string> namesIn(const fs::path& directory) {
    std::set<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
        names.insert(entry.path().filename().native());
    }
    return names;
}

TEST(Processes, CreateConsecutiveResultsFromOnePattern) {
    constexpr int processes = 8;
    constexpr int each = 250;
    const support::TempDirectory temp;
    std::vector<pid_t> children;
    for (int i = 0; i < processes; ++i) {
        children.push_back(runInChild([&] {
            for (int made = 0; made < each; ++made) {
                if (!createNext(temp / "r@@@")) {
                    return 1;
                }
            }
            return 0;
        }));
    }
    for (const pid_t child : children) {
        EXPECT_EQ(join(child), 0);
    }
    std::set<std::string> expected;
    for (int number = 0; number < processes * each; ++number) {
        const std::string digits = std::to_string(number);
        expected.insert("r" + std::string(digits.size() < 3 ? 3 - digits.size() : 0, '0') + digits);
    }
    EXPECT_EQ(namesIn(temp.path()), expected);
    for (const std::string& name : expected) {
        EXPECT_TRUE(isReadable(temp / (name + "/" + name + ".zentor"))) << name;
    }
}

TEST(Processes, GetOneNameWithItsCreationRecord) {
    constexpr int names = 400;
    const support::TempDirectory temp;
    std::vector<pid_t> children;
    for (int i = 0; i < 4; ++i) {
        children.push_back(runInChild([&] {
            for (int name = 0; name < names; ++name) {
                const std::string path = temp / ("x" + std::to_string(name));
                if (!ResultDirectoryManager::get(path.c_str(), nullptr, false)) {
                    return 1;
                }
            }
            return 0;
        }));
    }
    for (const pid_t child : children) {
        EXPECT_EQ(join(child), 0);
    }
    for (const std::string& name : namesIn(temp.path())) {
        EXPECT_TRUE(isReadable(temp / (name + "/" + name + ".zentor"))) << name;
    }
}

TEST(Threads, CreateInOneProject) {
    constexpr int each = 100;
    const support::TempDirectory temp;
    const std::string project = temp / "project";
    ASSERT_TRUE(IProject::create(project.c_str(), nullptr, false));
    std::mutex mutex;
    std::multiset<std::string> made;
    const auto create = [&] {
        for (int i = 0; i < each; ++i) {
            const auto result =
                ResultDirectoryManager::create("r@@@", false, nullptr, false, project.c_str());
            const std::lock_guard lock(mutex);
            made.insert(result ? result->getPath() : toString(getStatus()));
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back(create);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::multiset<std::string> expected;
    for (int number = 0; number < 4 * each; ++number) {
        const std::string digits = std::to_string(1000 + number);
        expected.insert(project + "/r" + digits.substr(1));
    }
    EXPECT_EQ(made, expected);
}

/// Each round one thread makes the project; the other finds it, made in part or whole.
TEST(Threads, MakeOneProjectAndBothCanSaveIt) {
    constexpr std::size_t rounds = 300;
    const support::TempDirectory temp;
    const auto make = [&](std::size_t round) {
        return IProject::create((temp / std::to_string(round)).c_str(), nullptr, false);
    };
    std::array<std::vector<basekit2::sptr_t<IProject>>, 2> made;
    std::atomic<std::size_t> arrived{0};
    const auto makeAll = [&](std::vector<basekit2::sptr_t<IProject>>& mine) {
        for (std::size_t round = 0; round < rounds; ++round) {
            ++arrived;
            while (arrived < 2 * (round + 1)) {
                std::this_thread::yield();
            }
            mine.push_back(make(round));
        }
    };
    std::thread other(makeAll, std::ref(made[1]));
    makeAll(made[0]);
    other.join();
    for (std::size_t round = 0; round < rounds; ++round) {
        ASSERT_TRUE(made[0][round] && made[1][round]) << round;
        EXPECT_EQ(made[0][round].get(), made[1][round].get()) << round;
        made[0][round]->save();
        EXPECT_EQ(getStatus(), eOK) << round;
    }
}

TEST(Processes, KilledCreatorLeavesReadableMarkersOrNone) {
    constexpr int rounds = 100;
    const support::TempDirectory temp;
    std::mt19937 random(1);
    std::set<std::string> checked;
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    int readable = 0;
    for (int round = 0; round < rounds; ++round) {
        // Tells of every result; ends by itself when nobody listens any more.
        const pid_t creator = runInChild([&] {
            ::close(ends[0]);
            for (;;) {
                const auto result = createNext(temp / "r@@@");
                if (!result || ::write(ends[1], "", 1) != 1 || result->save()) {
                    return 1;
                }
            }
        });
        pollfd news{ends[0], POLLIN, 0};
        for (auto awaited = 1 + random() % 3; awaited > 0; --awaited) {
            char byte = 0;
            ASSERT_EQ(::poll(&news, 1, 60'000), 1);
            ASSERT_EQ(::read(ends[0], &byte, 1), 1);
        }
        // Some way into a creation or a save.
        const auto begun = std::chrono::steady_clock::now();
        const std::chrono::microseconds delay(random() % 600);
        while (std::chrono::steady_clock::now() - begun < delay) {
        }
        ::kill(creator, SIGKILL);
        join(creator);
        for (const std::string& name : namesIn(temp.path())) {
            const std::string marker = temp / (name + "/" + name + ".zentor");
            if (fs::exists(marker)) {
                EXPECT_TRUE(checked.count(name) != 0 || isReadable(marker)) << name;
                ++readable;
            } else {
                const auto repaired =
                    ResultDirectoryManager::get((temp / name).c_str(), nullptr, false);
                ASSERT_TRUE(repaired) << name;
                EXPECT_EQ(repaired->getMarkerFilePath(), marker);
            }
            checked.insert(name);
        }
    }
    EXPECT_GE(readable, rounds);
    ::close(ends[0]);
    ::close(ends[1]);
}

}  // namespace
