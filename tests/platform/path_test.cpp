#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "basekit2/files.h"
#include "basekit2/path.h"
#include "support/temp_directory.h"

namespace {

namespace fs = boost::filesystem;
using basekit2::path_t;

TEST(Path, IsTakenApartAndJoined) {
    for (const char* text : {"", "a", "/", "/a", "a/b", "/a/", "/a/b.c"}) {
        const path_t path(text);
        EXPECT_EQ(path.parent().join(path.last_component()).text(), text);
        EXPECT_EQ(path.last_component().find('/'), std::string_view::npos) << text;
    }
    EXPECT_EQ(path_t("/a").parent().text(), "/");
    EXPECT_EQ(path_t("/a/b.c").parent().text(), "/a");
}

TEST(Path, Matches) {
    const struct {
        const char* pattern;
        std::vector<std::string> yes;
        std::vector<std::string> no;
    } cases[] = {
        // no wildcard: the name itself, or its end
        {"", {""}, {"a"}},
        {"abc", {"abc"}, {"ab", "abcd", "xabc", "ABC"}},
        {".zentor", {".zentor", "a.zentor", "a.b.zentor"}, {"zentor", ".zentorlink", "a.Zentor"}},
        {".", {".", "a.", ".."}, {"", ".a"}},
        {"a.b", {"a.b"}, {"xa.b"}},
        // runs and single characters
        {"*", {"", "a", ".hidden", "a/b", "\xFF", "a\nb"}, {}},
        {"*.log", {".log", "a.log", ".a.log"}, {"a.log2", "alog"}},
        {".*", {".", ".a"}, {"a", "a.b"}},
        {"a*b*c", {"abc", "aXbXc", "abcbc"}, {"ab", "abcX", "Xabc"}},
        {"**a**", {"a", "xax"}, {"", "b"}},
        {"?", {"a", ".", "/", "\xC3\xA9", "\xF0\x9F\x98\x80", "\xFF"}, {"", "ab", "\xC3\xA9x"}},
        {"a??", {"abc", "a\xC3\xA9\xE2\x82\xAC", "a\xE2\x82"}, {"ab", "abcd"}},
        {"*\xC3\xA9", {"\xC3\xA9", "caf\xC3\xA9"}, {"\xC3", "\xA9", "e"}},
        {"*\xA9", {"\xA9", "x\xA9"}, {"\xC3\xA9"}},
        {"?\xFF*", {"a\xFF", "\xFE\xFFz"}, {"\xFF", "a\xFE"}},
        // sets
        {"[abc]", {"a", "c"}, {"d", "", "ab", "[abc]"}},
        {"r[0-9]*", {"r0", "r9x"}, {"r", "rx"}},
        {"[!a-c]", {"d", "\xC3\xA9", "!"}, {"a", "c", ""}},
        {"[^a]", {"b", "^"}, {"a"}},
        {"[a^!]", {"a", "^", "!"}, {"b"}},
        {"[]a]", {"]", "a"}, {"b", "[]a]"}},
        {"[!]a]", {"b"}, {"]", "a"}},
        {"[a-]", {"a", "-"}, {"b"}},
        {"[-a]", {"a", "-"}, {"b"}},
        {"[c-a]", {}, {"a", "b", "c"}},
        {"[\xC3\xA0-\xC3\xBF]", {"\xC3\xA9"}, {"e", "\xC3", "\xA9"}},
        {"[*?]", {"*", "?"}, {"a"}},
        {"[a", {"[a"}, {"a", "[", "[ab"}},
        {"[", {"["}, {"", "[["}},
        {"[]", {"[]"}, {"]", "["}},
        {"[!", {"[!"}, {"a"}},
        {"*[a", {"[a", "x[a"}, {"a"}},
        {"a[]b", {"a[]b"}, {"ab", "a]b"}},
    };
    for (const auto& c : cases) {
        for (const std::string& text : c.yes) {
            EXPECT_TRUE(path_t(text).match(c.pattern)) << c.pattern << " on " << text;
        }
        for (const std::string& text : c.no) {
            EXPECT_FALSE(path_t(text).match(c.pattern)) << c.pattern << " on " << text;
        }
    }
    EXPECT_TRUE(path_t(std::string("a\0b", 3)).match("a?b"));
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
    const std::string file = directory / "file";
    support::writeFile(file, "");
    const auto isReadOnly = [&](mode_t mode, unsigned mask) {
        EXPECT_EQ(::chmod(file.c_str(), mode), 0);
        bool readOnly = false;
        bool failed = true;
        path_t::readonly(path_t(file), &readOnly, &failed, mask);
        EXPECT_FALSE(failed);
        return readOnly;
    };
    EXPECT_FALSE(isReadOnly(0644, 0222));
    EXPECT_FALSE(isReadOnly(0664, 0020));
    EXPECT_TRUE(isReadOnly(0644, 0022));
    EXPECT_TRUE(isReadOnly(0644, 0444));
    EXPECT_TRUE(isReadOnly(0444, 0222));
    bool readOnly = true;
    bool failed = false;
    path_t::readonly(path_t(directory / "missing"), &readOnly, &failed, 0222);
    EXPECT_FALSE(readOnly);
    EXPECT_TRUE(failed);
    if (::geteuid() == 0) {
        GTEST_SKIP() << "root writes everywhere";
    }
    EXPECT_TRUE(isReadOnly(0422, 0222));
}

TEST(FindFiles, ListsMatchingFilesInOrder) {
    const support::TempDirectory directory;
    for (const char* name : {"b.log", "a.log", "a.txt", "sub.log/c.log", "sub.log/deep/d.log"}) {
        support::writeFile(directory / name, "");
    }
    fs::create_symlink("nowhere", directory / "link.log");
    fs::create_directory_symlink("sub.log", directory / "other.log");
    const auto found = [&](bool recursive) {
        std::vector<std::string> names;
        for (const path_t& path :
             basekit2::find_files(path_t(directory.path().native()), "*.log", recursive)) {
            names.push_back(path.text().substr(directory.path().size() + 1));
        }
        return names;
    };
    EXPECT_THAT(found(false), testing::ElementsAre("a.log", "b.log", "link.log", "other.log"));
    EXPECT_THAT(found(true), testing::ElementsAre("a.log", "b.log", "link.log", "other.log",
                                                  "sub.log/c.log", "sub.log/deep/d.log"));
    EXPECT_THROW(basekit2::find_files(path_t(directory / "missing"), "*", false),
                 fs::filesystem_error);
}

}  // namespace
