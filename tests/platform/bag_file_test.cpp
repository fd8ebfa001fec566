#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <boost/filesystem/operations.hpp>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "basekit2/bag_io.h"
#include "support/child_process.h"
#include "support/temp_directory.h"

namespace {

namespace fs = boost::filesystem;
using basekit2::variant_bag_t;
using support::ChildProcess;
using support::namesIn;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

/// `entries` entries, each of which tells that number.
variant_bag_t numbered(int entries) {
    variant_bag_t bag;
    for (int i = 0; i < entries; ++i) {
        bag.put("entry" + std::to_string(i), entries);
    }
    return bag;
}

variant_bag_t load(const std::string& path) {
    variant_bag_t bag;
    EXPECT_EQ(basekit2::load_variant_bag(bag, path, "bag"), basekit2::bag_ok) << path;
    return bag;
}

class BagFile : public testing::Test {
protected:
    support::TempDirectory m_directory;
    std::string m_file = m_directory / "a.bag";
};

TEST_F(BagFile, KeepsRootAndContent) {
    ASSERT_EQ(basekit2::save_variant_bag2(numbered(3), m_file, "link"), basekit2::bag_ok);
    variant_bag_t bag;
    EXPECT_EQ(basekit2::load_variant_bag2(bag, m_file, "link", 0), basekit2::bag_ok);
    EXPECT_EQ(bag, numbered(3));
    EXPECT_EQ(basekit2::load_variant_bag(bag, m_file, "bag"), basekit2::bag_malformed);
    EXPECT_TRUE(bag.empty());
}

TEST_F(BagFile, LoadRefusesWhatIsNoReadableBagAndNeverBlocks) {
    ASSERT_EQ(::mkfifo((m_directory / "fifo").c_str(), 0600), 0);
    fs::create_symlink("nowhere", m_directory / "dangling");
    support::writeFile(m_directory / "text", "some text");
    support::writeFile(m_directory / "huge", "<bag v=\"1\">");
    fs::resize_file(m_directory / "huge", (std::uintmax_t{16} << 20) + 1);
    const auto expectResult = [](const std::string& path, int result) {
        variant_bag_t bag = numbered(2);
        EXPECT_EQ(basekit2::load_variant_bag(bag, path, ""), result) << path;
        EXPECT_TRUE(bag.empty()) << path;
    };
    for (const char* name : {"missing", "text/below", "dangling"}) {
        expectResult(m_directory / name, basekit2::bag_absent);
    }
    for (const char* name : {".", "fifo", "/dev/null"}) {
        expectResult(fs::absolute(name, m_directory.path()).native(), basekit2::bag_unreadable);
    }
    expectResult("", basekit2::bag_absent);
    expectResult(m_directory / "huge", basekit2::bag_too_large);
    expectResult(m_directory / "text", basekit2::bag_malformed);
    // A file may hold more than its size tells.
    std::string text;
    EXPECT_EQ(basekit2::read_bag_text("/proc/self/status", text), basekit2::bag_ok);
    EXPECT_NE(text.find("VmSize"), std::string::npos);
}

TEST_F(BagFile, IsWrittenThroughASymbolicLink) {
    fs::create_directory(m_directory / "sub");
    fs::create_symlink("sub/new.bag", m_directory / "dangling");
    fs::create_symlink("../a.bag", m_directory / "sub/good");
    fs::create_symlink("sub/good", m_directory / "chain");
    ASSERT_EQ(basekit2::save_variant_bag(numbered(1), m_file), basekit2::bag_ok);
    for (const char* link : {"dangling", "sub/good", "chain"}) {
        ASSERT_EQ(basekit2::save_variant_bag(numbered(2), m_directory / link), basekit2::bag_ok);
        EXPECT_TRUE(fs::is_symlink(m_directory / link)) << link;
        EXPECT_EQ(load(m_directory / link), numbered(2)) << link;
    }
    EXPECT_EQ(load(m_file), numbered(2));
    EXPECT_THAT(namesIn(m_directory / "sub"), UnorderedElementsAre("good", "new.bag"));
}

TEST_F(BagFile, KeepsTheModeOfTheFileThatItReplaces) {
    const mode_t mask = ::umask(027);
    ASSERT_EQ(basekit2::save_variant_bag(numbered(1), m_file), basekit2::bag_ok);
    ::umask(mask);
    EXPECT_EQ(fs::status(m_file).permissions(), 0640);
    for (const fs::perms mode : {fs::perms(0604), fs::perms(0777), fs::perms(0400)}) {
        fs::permissions(m_file, mode);
        ASSERT_EQ(basekit2::save_variant_bag(numbered(2), m_file), basekit2::bag_ok);
        EXPECT_EQ(fs::status(m_file).permissions(), mode);
    }
}

TEST_F(BagFile, SaveRefusesWhatIsNoFile) {
    ASSERT_EQ(::mkfifo((m_directory / "fifo").c_str(), 0600), 0);
    fs::create_directory(m_directory / "sub");
    fs::create_symlink("loop", m_directory / "loop");
    const std::string longest(255, 'n');
    for (const std::string name : {"fifo", "sub", "sub/", "missing/a.bag", "loop", "fifo/a.bag"}) {
        EXPECT_EQ(basekit2::save_variant_bag(numbered(1), m_directory / name),
                  basekit2::bag_unwritable)
            << name;
    }
    EXPECT_EQ(basekit2::save_variant_bag(numbered(1), m_directory / (longest + "n")),
              basekit2::bag_unwritable);
    EXPECT_EQ(basekit2::save_variant_bag(numbered(1), m_directory / longest), basekit2::bag_ok);
    EXPECT_EQ(load(m_directory / longest), numbered(1));
    EXPECT_THAT(namesIn(m_directory.path()), UnorderedElementsAre("fifo", "sub", "loop", longest));
    EXPECT_TRUE(fs::is_empty(m_directory / "sub"));
}

TEST_F(BagFile, IsCreatedOnceAndReplacesNothing) {
    ASSERT_EQ(::mkfifo((m_directory / "fifo").c_str(), 0600), 0);
    fs::create_directory(m_directory / "sub");
    fs::create_symlink("nowhere", m_directory / "dangling");
    std::vector<std::thread> threads;
    std::atomic<int> made{0};
    for (int number = 1; number <= 4; ++number) {
        threads.emplace_back([&, number] {
            const int result = basekit2::create_variant_bag(numbered(number), m_file);
            made += result == basekit2::bag_ok ? number : 0;
            EXPECT_TRUE(result == basekit2::bag_ok || result == basekit2::bag_exists);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(load(m_file), numbered(made));
    for (const char* name : {"a.bag", "fifo", "sub", "dangling"}) {
        EXPECT_EQ(basekit2::create_variant_bag(numbered(9), m_directory / name),
                  basekit2::bag_exists)
            << name;
    }
    for (const char* name : {"missing/a.bag", "a.bag/b", "sub/", "fifo/b"}) {
        EXPECT_EQ(basekit2::create_variant_bag(numbered(9), m_directory / name),
                  basekit2::bag_unwritable)
            << name;
    }
    EXPECT_EQ(load(m_file), numbered(made));
    EXPECT_THAT(namesIn(m_directory.path()),
                UnorderedElementsAre("a.bag", "fifo", "sub", "dangling"));
}

TEST_F(BagFile, FailedSaveLeavesTheOldFile) {
    ASSERT_EQ(basekit2::save_variant_bag(numbered(1), m_file), basekit2::bag_ok);
    const auto expectOldFileAlone = [this] {
        EXPECT_EQ(load(m_file), numbered(1));
        EXPECT_THAT(namesIn(m_directory.path()), ElementsAre("a.bag"));
    };
    const int code = support::runInChild([this] {
        const rlimit most{100, 100};
        ::signal(SIGXFSZ, SIG_IGN);
        ::setrlimit(RLIMIT_FSIZE, &most);
        return basekit2::save_variant_bag(numbered(50), m_file) == basekit2::bag_unwritable ? 0 : 1;
    });
    EXPECT_EQ(code, 0);
    expectOldFileAlone();
    variant_bag_t large;
    large.put("a", std::string(std::size_t{16} << 20, 'x'));
    EXPECT_EQ(basekit2::save_variant_bag(large, m_file), basekit2::bag_too_large);
    expectOldFileAlone();
    if (::geteuid() == 0) {
        GTEST_SKIP() << "root writes in every directory";
    }
    fs::permissions(m_directory.path(), fs::perms(0555));
    EXPECT_EQ(basekit2::save_variant_bag(numbered(2), m_file), basekit2::bag_unwritable);
    fs::permissions(m_directory.path(), fs::perms(0755));
    expectOldFileAlone();
}

TEST_F(BagFile, ReadersAndKillsFindTheOldOrTheNew) {
    const variant_bag_t a = numbered(4);
    const variant_bag_t b = numbered(400);
    const auto isAOrB = [&](const variant_bag_t& bag) { return bag == a || bag == b; };
    ASSERT_EQ(basekit2::save_variant_bag(a, m_file), basekit2::bag_ok);
    std::mt19937 random(1);
    std::size_t last = a.size();
    for (int round = 0; round < 100; ++round) {
        ChildProcess writer([&] {
            for (int i = 0; i < 100'000; ++i) {
                if (basekit2::bag_failed(basekit2::save_variant_bag(i % 2 ? a : b, m_file))) {
                    return 1;
                }
            }
            return 0;
        });
        // Until the writer has come some way, and then at any point of its next save.
        auto changes = 1 + random() % 2;
        for (int loads = 0; changes > 0; ++loads) {
            ASSERT_LT(loads, 1'000'000) << "the writer does not get on";
            const variant_bag_t bag = load(m_file);
            ASSERT_TRUE(isAOrB(bag)) << round;
            changes -= bag.size() != last ? 1 : 0;
            last = bag.size();
        }
        for (auto loads = random() % 20; loads > 0; --loads) {
            ASSERT_TRUE(isAOrB(load(m_file))) << round;
        }
        writer.kill();
        ASSERT_TRUE(isAOrB(load(m_file))) << round;
    }
    // A killed process cannot tidy up, but what it leaves can be told from everything else.
    for (const std::string& name : namesIn(m_directory.path())) {
        EXPECT_TRUE(name == "a.bag" || basekit2::is_bag_temporary(name)) << name;
    }
    EXPECT_FALSE(basekit2::is_bag_temporary("a.bag"));
}

TEST_F(BagFile, SavesOfSeveralThreadsDoNotMix) {
    std::vector<std::thread> threads;
    for (int size : {3, 30, 300}) {
        threads.emplace_back([this, size] {
            for (int i = 0; i < 30; ++i) {
                EXPECT_EQ(basekit2::save_variant_bag(numbered(size), m_file), basekit2::bag_ok);
                const variant_bag_t bag = load(m_file);
                EXPECT_EQ(bag, numbered(static_cast<int>(bag.size())));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(namesIn(m_directory.path()), ElementsAre("a.bag"));
}

}  // namespace
