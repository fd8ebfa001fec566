#include "basekit2/files.h"
#include "basekit2/path.h"
#include "support/test.h"

namespace {

using basekit2::path_t;

// What a pattern matches is in fuzz/patterns.
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
