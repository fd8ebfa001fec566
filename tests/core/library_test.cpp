// The shared library as programs load it, each in a process of its own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <sstream>
#include <string>

#include "support/command.h"
#include "support/temp_directory.h"

namespace {

namespace fs = boost::filesystem;
using support::Command;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool instrumented = true;
#else
constexpr bool instrumented = false;
#endif

class Library : public testing::Test {
protected:
    /// What the program prints; it must end well.
    std::string output(const std::vector<std::string>& words,
                       const std::vector<std::string>& environment = {}) {
        Command::Setting setting{.directory = m_directory.path().native()};
        setting.environment = environment;
        setting.program = words.front();
        const support::CommandResult result =
            Command({words.begin() + 1, words.end()}, setting).finish();
        EXPECT_EQ(result.code, 0) << testing::PrintToString(words);
        EXPECT_EQ(result.err, "") << testing::PrintToString(words);
        return result.out;
    }

    [[nodiscard]] std::size_t linesWith(const std::string& file, const std::string& text) const {
        std::istringstream log(support::readFile(file));
        std::size_t count = 0;
        for (std::string line; std::getline(log, line);) {
            count += line.find(text) != std::string::npos ? 1 : 0;
        }
        return count;
    }

    support::TempDirectory m_directory;
    std::string m_log = m_directory / "log";
    std::string m_setting = "VESTA_LOG=warn:" + m_log;
};

TEST_F(Library, StartsNoThreadsUntilSomebodyWantsItsMessages) {
    const auto threads = [this](const std::vector<std::string>& environment) {
        const std::string size = output({CORE_PROBE, "size"}, environment);
        return std::stoi(size.substr(size.find('\n')));
    };
    EXPECT_EQ(threads({}), 1);
    EXPECT_GT(threads({m_setting}), 1);
    EXPECT_EQ(linesWith(m_log, " WARN vesta: "), 1U);
}

TEST_F(Library, WorksWhereNoThreadCanBeStarted) {
    if (instrumented) {
        GTEST_SKIP() << "sanitizers need threads and address space";
    }
    const std::size_t peak = std::stoul(output({CORE_PROBE, "size"}));
    // Room for what a log needs, but not for the stack of a thread; the super-user may have
    // threads.
    const std::string most = "--as=" + std::to_string((peak + 6 * 1024) * 1024);
    for (const std::string& limit : {most, std::string("--nproc=0")}) {
        if (limit == most || ::geteuid() != 0) {
            EXPECT_EQ(output({"prlimit", limit, CORE_PROBE, "check", "a:b"}), "");
            EXPECT_EQ(output({"prlimit", limit, CORE_PROBE, "check", "a:b"}, {m_setting}), "");
        }
    }
    EXPECT_EQ(support::readFile(m_log), "");
}

TEST_F(Library, LeavesTheThreadsOfAnAsynchronousLogAlone) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the logging library is not instrumented";
#endif
    EXPECT_EQ(output({LOG_APPLICATION, m_log}), "");
    EXPECT_EQ(linesWith(m_log, "own "), 100U);
    EXPECT_EQ(linesWith(m_log, "WARN"), 100U);
}

TEST_F(Library, TextsStayWhileOtherThreadsAskAndLog) {
    EXPECT_EQ(output({CORE_PROBE, "threads"}, {m_setting}), "");
    EXPECT_EQ(linesWith(m_log, " WARN vesta: "), 4000U);
}

TEST_F(Library, FailsInOrderWhileThreadAndProcessEnd) {
    const std::string text = "No such node, file or directory\n";
    const std::string ends = "thread: " + text + "exit: " + text;
    EXPECT_EQ(output({CORE_PROBE, "end"}), ends);
    EXPECT_EQ(output({CORE_PROBE, "end"}, {m_setting}), ends);
    // The log ends before what was there before it.
    EXPECT_EQ(linesWith(m_log, " WARN vesta: "), 2U);
    EXPECT_EQ(output({LATE_LOADER, VESTA2_LIBRARY}), ends);
    EXPECT_EQ(output({LATE_LOADER, VESTA2_LIBRARY}, {m_setting}), ends);
}

TEST_F(Library, KnowsWhereItIsAfterAChangeOfDirectory) {
    const fs::path library = VESTA2_LIBRARY;
    // Installed in a directory of its architecture, and found by a relative path.
    for (const char* place : {"lib", "lib/x86_64-linux-gnu"}) {
        const fs::path root = m_directory.path() / "root";
        fs::create_directories(root / place);
        fs::copy_file(library, root / place / "libvesta2.so.0");
        support::writeFile(root / "share/vesta2/vesta2.catalog.xml",
                           "<bag v=\"1\"><str n=\"%NotFound\">Nichts</str></bag>");
        EXPECT_EQ(
            output({CORE_PROBE, "elsewhere", "4"}, {"LD_LIBRARY_PATH=root/" + std::string(place)}),
            "Nichts\n");
        fs::remove_all(root);
    }
}

}  // namespace
