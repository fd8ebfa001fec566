#include <fnmatch.h>
#include <sys/stat.h>

#include <random>

#include "basekit2/files.h"
#include "basekit2/path.h"
#include "support/test.h"

namespace {

using basekit2::path_t;

TEST(Path, IsTakenApartAndJoined) {
    for (const char* text : {"", "a", "/", "/a", "a/b", "/a/", "/a/b.c"}) {
        const path_t path(text);
        EXPECT_EQ(path.parent().join(path.last_component()).text(), text);
        EXPECT_EQ(path.last_component().find('/'), std::string_view::npos) << text;
    }
    EXPECT_EQ(path_t("/a").parent().text(), "/");
}

TEST(Path, MatchesAsTheShellDoes) {
    std::mt19937 random(1);
    const auto some = [&random](const std::string& characters) {
        std::string text;
        for (auto left = random() % 9; left > 0; --left) {
            text += characters[random() % characters.size()];
        }
        return text;
    };
    int matches = 0;
    for (int round = 0; round < 100'000; ++round) {
        const std::string pattern = some("aabc**?[]]!^-") + "*";
        const std::string text = some("aabc*[]-!^");
        const bool expected = ::fnmatch(pattern.c_str(), text.c_str(), FNM_NOESCAPE) == 0;
        ASSERT_EQ(path_t(text).match(pattern), expected) << pattern << " on " << text;
        matches += expected ? 1 : 0;
    }
    EXPECT_GT(matches, 1000);
}

TEST(Path, MatchesCharactersAndEndings) {
    // Without a wildcard it is the name itself, or its end.
    for (const auto& [pattern, text] : support::rows<2>(
             "- -; abc abc; .zentor .zentor; .zentor a.b.zentor; *.log .log; *.log a.log; * -;"
             "* .hidden; * a/b; * \xFF; ? .; ? /; ? \xC3\xA9; ? \xF0\x9F\x98\x80; ? \xFF;"
             "a?? a\xC3\xA9\xE2\x82\xAC; a?? a\xE2\x82; *\xA9 x\xA9;"
             "[\xC3\xA0-\xC3\xBF] \xC3\xA9")) {
        EXPECT_TRUE(path_t(text).match(pattern)) << pattern << " on " << text;
    }
    for (const auto& [pattern, text] : support::rows<2>(
             "- a; abc abcd; abc xabc; abc ABC; .zentor zentor; .zentor .zentorlink;"
             ".zentor a.Zentor; *.log a.log2; *.log alog; ? -; ? ab; ? \xC3\xA9x; a?? ab;"
             "*\xA9 \xC3\xA9; [\xC3\xA0-\xC3\xBF] \xC3; [\xC3\xA0-\xC3\xBF] \xA9")) {
        EXPECT_FALSE(path_t(text).match(pattern)) << pattern << " on " << text;
    }
    EXPECT_TRUE(path_t(std::string("a\0\nb", 4)).match("a??b"));
}

TEST(Path, MatchesManyRunsInLinearTime) {
    std::string pattern;
    for (int i = 0; i < 100; ++i) {
        pattern += "*a";
    }
    const path_t text(std::string(20'000, 'a'));
    EXPECT_FALSE(text.match(pattern + "*b"));
    EXPECT_TRUE(text.match(pattern + "*"));
}

TEST(Path, TellsWhatIsReadOnly) {
    const support::TempDirectory directory;
    writeFile(directory / "file", "");
    const auto tell = [&](const char* name, unsigned mask) {
        bool isReadOnly = false;
        bool failed = false;
        path_t::readonly(path_t(directory / name), &isReadOnly, &failed, mask);
        return failed ? -1 : static_cast<int>(isReadOnly);
    };
    for (const auto& [mode, mask, expected] : {std::tuple(0644, 0222, 0),
                                               {0664, 0020, 0},
                                               {0644, 0022, 1},
                                               {0644, 0444, 1},
                                               {0444, 0222, 1}}) {
        ASSERT_EQ(::chmod((directory / "file").c_str(), static_cast<mode_t>(mode)), 0);
        EXPECT_EQ(tell("file", static_cast<unsigned>(mask)), expected) << mode << ' ' << mask;
    }
    EXPECT_EQ(tell("missing", 0222), -1);
}

TEST(FindFiles, ListsMatchingFilesInOrder) {
    const support::TempDirectory directory;
    for (const char* name : {"b.log", "a.log", "a.txt", "sub.log/c.log", "sub.log/deep/d.log"}) {
        writeFile(directory / name, "");
    }
    fs::create_directory_symlink("sub.log", directory / "other.log");
    const auto found = [&](bool recursive) {
        std::string names;
        for (const path_t& path :
             basekit2::find_files(path_t(directory.path().native()), "*.log", recursive)) {
            names += path.text().substr(directory.path().size() + 1) + ' ';
        }
        return names;
    };
    EXPECT_EQ(found(false), "a.log b.log other.log ");
    EXPECT_EQ(found(true), "a.log b.log other.log sub.log/c.log sub.log/deep/d.log ");
    EXPECT_THROW(basekit2::find_files(path_t(directory / "missing"), "*", false),
                 fs::filesystem_error);
}

}  // namespace
