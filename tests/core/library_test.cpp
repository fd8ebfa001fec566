// The shared library as programs load it, each in a process of its own.

#include <unistd.h>

#include <algorithm>
#include <boost/algorithm/string.hpp>
#include <regex>

#include "basekit2/bag_io.h"
#include "optstore2/data_files.h"
#include "support/command.h"
#include "support/test.h"
#include "vesta2/error.h"

namespace {

using Words = std::vector<std::string>;

class Library : public testing::Test {
protected:
    /// What the program prints; it must end well.
    std::string output(const Words& words) {
        const support::CommandResult result =
            support::Command({words.begin() + 1, words.end()},
                             {m_directory.path().native(), m_environment, 0, words.front()})
                .finish();
        EXPECT_EQ(result.code, 0) << testing::PrintToString(words);
        EXPECT_EQ(result.err, "") << testing::PrintToString(words);
        return result.out;
    }
    std::string probe(const std::string& arguments) {
        return output(words(CORE_PROBE " " + arguments));
    }
    /// Makes that a data file of the library's.
    void provide(const std::string& file, const std::string& content) {
        writeFile(m_directory / file, "<bag v=\"1\">" + content + "</bag>");
        m_environment = {"VESTA2_DATA_DIR=" + m_directory.path().native()};
    }
    void describe(const std::string& product) { provide("product.xml", product); }
    void translate(const std::string& messages) { provide("vesta2.catalog.xml", messages); }
    void log() { m_environment.push_back("VESTA_LOG=warn:" + m_log); }

    [[nodiscard]] std::size_t linesWith(const std::string& text) const {
        std::vector<std::string> found;
        return boost::find_all(found, readFile(m_log), text).size();
    }

    support::TempDirectory m_directory;
    Words m_environment;
    std::string m_log = m_directory / "log";
};

TEST_F(Library, AllNamesFollowTheShortNameOfTheProduct) {
    describe("<str n=\"shortName\">abc</str><str n=\"name\">The Product</str><bag n=\"version\">"
             "<uint32 n=\"major\">1</uint32><uint32 n=\"minor\">2</uint32>"
             "<uint32 n=\"patch\">3</uint32><uint32 n=\"build\">4000000000</uint32></bag>");
    EXPECT_EQ(probe("names"), "The Product\n1.2.3.4000000000\n.abc .abcproj .abcexp\n"
                              ".abclink .abcprojlink .abcexplink\n.dflgabc .infoabc\n");
    // Built-in values serve where the file does not.
    const std::string names = "vesta2\n0.0.0.0\n.zentor .zentorproj .zentorexp\n"
                              ".zentorlink .zentorprojlink .zentorexplink\n"
                              ".dflgzentor .infozentor\n";
    describe("<int32 n=\"shortName\">1</int32>");
    EXPECT_EQ(probe("names"), names);
    for (const std::string name :
         {"<torn", "", "a/b", "a b", "..", "\xC3\xA9", "0123456789012345678901234567890123"}) {
        describe("<str n=\"shortName\">" + name + "</str>");
        EXPECT_EQ(probe("names"), names) << name;
    }
}

TEST_F(Library, MessagesAreTheCatalogsOrTheirKeys) {
    translate("");
    EXPECT_EQ(probe("message 4"), "%NotFound\n");
    translate("<str n=\"%NotFound\">Nichts da {0}</str>");
    EXPECT_EQ(probe("message 3"), "%AlreadyExists\n");
    EXPECT_EQ(probe("later 4"), "%NotFound\nNichts da {0}\n") << "none could be opened";

    basekit2::variant_bag_t catalog;
    const std::string file = optstore2::findDataFile("vesta2.catalog.xml");
    ASSERT_EQ(basekit2::load_variant_bag(catalog, file, ""), basekit2::bag_ok) << file;
    const Words keys = words("OK NotImplemented InsufficientPermissions AlreadyExists NotFound "
                             "ParameterError InvalidPath TooManyPlaceholderGroups "
                             "TooLongPlaceholder ReservedCharacters ReservedDeviceName "
                             "InvalidLastCharacter EmptyPattern Unknown Unknown FileLocked "
                             "FileError Unknown");
    for (int code = -1; code < 20; ++code) {
        const std::size_t key = std::min<std::size_t>(static_cast<unsigned>(code), 17);
        EXPECT_EQ(catalog.get_variant("%" + keys[key]),
                  basekit2::variant_t(vesta2::toString(static_cast<vesta2::error_t>(code))))
            << code;
    }
}

TEST_F(Library, FailedNamesAreLogged) {
    const Words names{CORE_PROBE, "check", "", "good", "a:b", "end ", ".", "end.", "a|."};
    translate("<broken");
    EXPECT_EQ(output(names), "");
    log();
    EXPECT_EQ(output(names), "");
    std::string expected;
    for (const char* text :
         {"ReservedDeviceName", "ReservedCharacters. Pattern: a:b",
          "InvalidLastCharacter. Pattern: end ", "InvalidLastCharacter. Pattern: end[.]",
          "ReservedCharacters. Pattern: a[|][.]"}) {
        expected.append("[-0-9]+ [0-9:.]+ WARN vesta: %").append(text);
        expected.append(", at file: vcs/vesta2/src/vesta:[0-9]+\n");
    }
    EXPECT_TRUE(std::regex_match(readFile(m_log), std::regex(expected))) << readFile(m_log);
    // An unknown level counts as "warn".
    for (const auto& [level, count] : {std::pair{"error", 0U}, {"DEBUG", 5U}, {"x", 5U}}) {
        fs::remove(m_log);
        m_environment.back() = std::string("VESTA_LOG=") + level + ":" + m_log;
        support::Command({names.begin() + 1, names.end()}, {"/", m_environment, 0, CORE_PROBE})
            .finish();
        EXPECT_EQ(linesWith(" WARN "), count) << level;
    }
}

TEST_F(Library, StartsNoThreadsUntilSomebodyWantsItsMessagesAndWorksWithout) {
    const std::string silent = probe("status");
    EXPECT_THAT(silent, HasSubstr("\nThreads:\t1\n"));
    log();
    EXPECT_THAT(probe("status"), testing::Not(HasSubstr("\nThreads:\t1\n")));
    EXPECT_EQ(linesWith(" WARN vesta: "), 1U);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    // Room for what a log needs, but not for the stack of a thread; the super-user may have
    // threads.
    const std::size_t peak = std::stoul(silent.substr(silent.find("VmPeak:") + 7));
    const std::string most = "--as=" + std::to_string((peak + 6 * 1024) * 1024);
    for (const std::string& limit : {most, std::string("--nproc=0")}) {
        if (limit == most || ::geteuid() != 0) {
            EXPECT_EQ(output({"prlimit", limit, CORE_PROBE, "check", "a:b"}), "");
        }
    }
    EXPECT_EQ(linesWith("\n"), 1U);
#endif
}

TEST_F(Library, LeavesTheThreadsOfAnAsynchronousLogAlone) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the logging library is not instrumented";
#endif
    EXPECT_EQ(output({LOG_APPLICATION, m_log}), "");
    EXPECT_EQ(linesWith("own "), 100U);
    EXPECT_EQ(linesWith("WARN"), 100U);
}

TEST_F(Library, TextsStayWhileOtherThreadsAskAndLog) {
    log();
    EXPECT_EQ(probe("threads"), "");
    EXPECT_EQ(linesWith(" WARN vesta: "), 4000U);
}

TEST_F(Library, FailsInOrderWhileThreadAndProcessEnd) {
    const std::string text = "No such node, file or directory\n";
    EXPECT_EQ(probe("end"), "thread: " + text + "exit: " + text);
    log();
    EXPECT_EQ(probe("end"), "thread: " + text + "exit: " + text);
    // The log ends before what was there before it.
    EXPECT_EQ(linesWith(" WARN vesta: "), 2U);
}

TEST_F(Library, KnowsWhereItIsAfterAChangeOfDirectory) {
    // Installed in a directory of its architecture, and found by a relative path.
    for (const std::string place : {"lib", "lib/x86_64-linux-gnu"}) {
        const std::string in = "root/" + place;
        writeFile(m_directory / in + "/" + fs::path(VESTA2_LIBRARY).filename().native(),
                  readFile(VESTA2_LIBRARY));
        provide("root/share/vesta2/vesta2.catalog.xml", "<str n=\"%NotFound\">Nichts</str>");
        m_environment = {"LD_LIBRARY_PATH=" + in};
        EXPECT_EQ(probe("elsewhere 4"), "Nichts\n");
        fs::remove_all(m_directory / in);
    }
}

}  // namespace
