#include "basekit2/files.h"
#include "basekit2/path.h"
#include "support/test.h"

namespace {

using basekit2::path_t;

TEST(Path, MatchesCharactersAndEndings) {
    // Without a wildcard it is the name itself, or its end.
    for (const auto& [pattern, text] :
         rows<2>("- -; abc abc; .zentor .zentor; .zentor a.b.zentor; *.log .log; *.log a.log; * -;"
                 "* .hidden; * a/b; * \xFF; ? .; ? /; ? \xC3\xA9; ? \xF0\x9F\x98\x80; ? \xFF;"
                 "a?? a\xC3\xA9\xE2\x82\xAC; a?? a\xE2\x82; *\xA9 x\xA9;"
                 "[\xC3\xA0-\xC3\xBF] \xC3\xA9")) {
        EXPECT_TRUE(path_t(text).match(pattern)) << pattern << " on " << text;
    }
    for (const auto& [pattern, text] :
         rows<2>("- a; abc abcd; abc xabc; abc ABC; .zentor zentor; .zentor .zentorlink;"
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

TEST(Files, AreReadOnlyForThoseInTheMask) {
    const support::TempDirectory directory;
    writeFile(directory / "file", "");
    fs::permissions(directory / "file", fs::perms(0644));
    bool isReadOnly = false;
    bool failed = false;
    path_t::readonly(path_t(directory / "file"), &isReadOnly, &failed, 0022);
    EXPECT_TRUE(isReadOnly && !failed);
    path_t::readonly(path_t(directory / "none"), &isReadOnly, &failed, 0222);
    EXPECT_TRUE(failed);
    EXPECT_THROW(basekit2::find_files(path_t(directory / "none"), "*", false),
                 fs::filesystem_error);
}

}  // namespace
