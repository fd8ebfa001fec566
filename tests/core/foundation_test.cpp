#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <string>
#include <thread>

#include "basekit2/bag_io.h"
#include "vesta2/error.h"
#include "vesta2/names.h"
#include "vesta2/path_completion.h"
#include "vesta2/result_directory_manager.h"

namespace {

namespace fs = boost::filesystem;
using namespace vesta2;
using vesta2::error_t;  // the C library has one too

TEST(Status, IsEachThreadsOwn) {
    EXPECT_FALSE(setStatus(eFileError));
    std::thread([] {
        EXPECT_EQ(ResultDirectoryManager::getLastError(), eOK);
        EXPECT_FALSE(setStatus(eNotFound));
        EXPECT_EQ(ResultDirectoryManager::getLastError(), eNotFound);
        EXPECT_TRUE(setStatus(eOK));
    }).join();
    EXPECT_EQ(getStatus(), eFileError);
    EXPECT_EQ(ResultDirectoryManager::getLastError(), eFileError);
    EXPECT_FALSE(setStatus(eUnknown));
    EXPECT_TRUE(setStatus(eOK));
    EXPECT_EQ(getStatus(), eOK);
}

/// Errors with numbers of their own, which are those of the system plus 100.
class ForeignCategory final : public boost::system::error_category {
public:
    [[nodiscard]] const char* name() const noexcept override { return "foreign"; }
    [[nodiscard]] std::string message(int /*value*/) const override { return "foreign"; }
    [[nodiscard]] boost::system::error_condition
    default_error_condition(int value) const noexcept override {
        return {value - 100, boost::system::generic_category()};
    }
};

TEST(Status, ForeignErrorsAreMapped) {
    const auto expectCode = [](int number, error_t code) {
        const ForeignCategory foreign;
        const boost::system::error_code error(number, boost::system::system_category());
        EXPECT_EQ(errorFromBoostError(fs::filesystem_error("", error)), code) << number;
        EXPECT_EQ(errorFromBoostError({number + 100, foreign}), code) << number;
    };
    expectCode(EACCES, eInsufficientPermissions);
    expectCode(EROFS, eInsufficientPermissions);
    expectCode(ENOENT, eNotFound);
    expectCode(EEXIST, eAlreadyExists);
    for (const int number : {EPERM, ENOTEMPTY, ENOSPC, 0}) {
        expectCode(number, eUnknown);
    }
    EXPECT_EQ(errorFromObxError(basekit2::bag_ok), eOK);
    for (const int result : {0, 2, -1, static_cast<int>(basekit2::bag_unreadable)}) {
        EXPECT_EQ(errorFromObxError(result), eUnknown) << result;
    }
}

TEST(Names, AreValidated) {
    setStatus(eFileLocked);
    EXPECT_EQ(validateFileName(nullptr), eEmptyPattern);
    EXPECT_EQ(validateFileName(""), eEmptyPattern);
    for (const char* name : {".", "..", " a", ".a", "r@@@", "@@@", "CON", "nul", "COM1", "LPT@",
                             // any other byte
                             "a\nb\x01", "\xFF\xC3\xA9", "{user}_@@"}) {
        EXPECT_EQ(validateFileName(name), eOK) << name;
    }
    for (const char* name : {"a<", ">", "a:b", "\"a", "a/b", "a\\b", "|", "r@@@?", "x*", "a*."}) {
        EXPECT_EQ(validateFileName(name), eReservedCharacters) << name;
    }
    for (const char* name : {"...", "a.", "a ", " "}) {
        EXPECT_EQ(validateFileName(name), eInvalidLastCharacter) << name;
    }
    EXPECT_EQ(validateFileName(std::string(100'000, 'a').c_str()), eOK);
    EXPECT_EQ(getStatus(), eFileLocked);
    EXPECT_FALSE(ResultDirectoryManager::isReservedDirectoryName("NUL"));
}

TEST(Names, HostIsTheKernels) {
    std::array<char, 256> name{};
    ASSERT_EQ(::gethostname(name.data(), name.size() - 1), 0);
    EXPECT_EQ(getFQDN(), name.data());
}

TEST(PathCompletion, FoldsAndDropsTheEndingSlash) {
    const auto folded = [](const char* text) {
        fs::path path = text;
        removeEndingSlash(path);
        return path.native();
    };
    for (const char* text : {"/x/r000", "/x/r000/", "/x/./r000", "/x//r000//", "/x/r000/.",
                             // and up again
                             "/x/y/../r000", "/x/r000/y/.."}) {
        EXPECT_EQ(folded(text), "/x/r000") << text;
    }
    EXPECT_EQ(folded("r000/"), "r000");
    EXPECT_EQ(folded("/x/ /"), "/x/ ");
    for (const char* text : {"//x", "///x/", "/../x", "/./../../x", "//../x", "/a/../../x"}) {
        EXPECT_EQ(folded(text), "/x") << text;
        EXPECT_EQ(completePath(text, "/base"), "/x") << text;
    }
    for (const char* text : {"/", "//", "/..", "/x/../.."}) {
        EXPECT_EQ(folded(text), "") << text;
        EXPECT_EQ(completePath(text, "/base"), "/") << text;
    }
    EXPECT_EQ(folded("../x"), "../x");
    EXPECT_EQ(folded("/..x"), "/..x");
    EXPECT_EQ(folded(""), "");
}

TEST(PathCompletion, IsRelativeToTheBase) {
    const std::string here = fs::current_path().native();
    EXPECT_EQ(completePath("r000", "/base"), "/base/r000");
    EXPECT_EQ(completePath("r000/", "/base/./x/"), "/base/./x/r000");
    EXPECT_EQ(completePath("r000", nullptr), here + "/r000");
    EXPECT_EQ(completePath("r000", ""), here + "/r000");
    EXPECT_EQ(completePath("r000", "sub"), here + "/sub/r000");
    EXPECT_EQ(completePath("r000", "//base"), "/base/r000");
    EXPECT_EQ(completePath("r000", "/"), "/r000");
    EXPECT_EQ(completePath("/x/r000/", "/base"), "/x/r000");
    EXPECT_EQ(completePath("a/../b", "/base"), "/base/b");
    EXPECT_EQ(completePath("./r000", "/base"), "/base/r000");
}

}  // namespace
