#include <cerrno>

#include "basekit2/bag_io.h"
#include "support/test.h"
#include "vesta2/error.h"
#include "vesta2/names.h"
#include "vesta2/path_completion.h"
#include "vesta2/result_directory_manager.h"

namespace {

using namespace vesta2;
using vesta2::error_t;  // the C library has one too

TEST(Status, IsEachThreadsOwn) {
    EXPECT_FALSE(setStatus(eFileError));
    std::jthread([] {
        EXPECT_EQ(ResultDirectoryManager::getLastError(), eOK);
        EXPECT_FALSE(setStatus(eNotFound));
    }).join();
    EXPECT_EQ(ResultDirectoryManager::getLastError(), eFileError);
    EXPECT_TRUE(setStatus(eOK));
}

TEST(Status, ForeignErrorsAreMapped) {
    for (const auto& [number, code] : {std::pair{EACCES, eInsufficientPermissions},
                                       {EROFS, eInsufficientPermissions},
                                       {ENOENT, eNotFound},
                                       {EEXIST, eAlreadyExists},
                                       {EPERM, eUnknown}}) {
        const boost::system::error_code error(number, boost::system::system_category());
        EXPECT_EQ(errorFromBoostError(fs::filesystem_error("", error)), code) << number;
    }
    EXPECT_EQ(errorFromObxError(basekit2::bag_ok), eOK);
    EXPECT_EQ(errorFromObxError(0), eUnknown);
}

TEST(Names, AreValidated) {
    for (const std::string& name :
         words(". .. .a r@@@ @@@ CON nul LPT@ \x01 \xFF\xC3\xA9 {user}_@@")) {
        EXPECT_EQ(validateFileName(name.c_str()), eOK) << name;
    }
    for (const std::string& name : words("a< > a:b \"a a/b a\\b | r@@@? x* a*.")) {
        EXPECT_EQ(validateFileName(name.c_str()), eReservedCharacters) << name;
    }
    for (const char* name : {"...", "a.", "a ", " "}) {
        EXPECT_EQ(validateFileName(name), eInvalidLastCharacter) << name;
    }
    setStatus(eFileLocked);
    EXPECT_EQ(validateFileName(nullptr), eEmptyPattern);
    EXPECT_EQ(validateFileName(""), eEmptyPattern);
    EXPECT_EQ(getStatus(), eFileLocked);
}

TEST(PathCompletion, FoldsAndDropsTheEndingSlash) {
    // The path, what it is folded to, and what it is under /base.
    for (const auto& [text, folded, completed] : rows<3>(
             "/x/r000 /x/r000 /x/r000; /x/./r000/ /x/r000 /x/r000; /x//r000// /x/r000 /x/r000;"
             "/x/r000/. /x/r000 /x/r000; /x/y/../r000/y/.. /x/r000 /x/r000; r000/ r000 /base/r000;"
             "//x /x /x; ///x/ /x /x; /../x /x /x; /./../../x /x /x; //../x /x /x; / - /; // - /;"
             "/a/../../x /x /x; /.. - /; /x/../.. - /; ../x ../x /base/../x; /..x /..x /..x;"
             "a/../b b /base/b; ./r000 r000 /base/r000; /x/.q/../q./.. /x /x")) {
        fs::path path = text;
        removeEndingSlash(path);
        EXPECT_EQ(path.native(), folded) << text;
        EXPECT_EQ(completePath(text, "/base"), completed) << text;
    }
    const std::string here = fs::current_path().native();
    for (const auto& [base, completed] : {std::pair<const char*, std::string>{nullptr, here + "/r"},
                                          {"", here + "/r"},
                                          {"sub", here + "/sub/r"},
                                          {"/base/./x/", "/base/./x/r"},
                                          {"//base", "/base/r"},
                                          {"/", "/r"}}) {
        EXPECT_EQ(completePath("r/", base), completed);
    }
}

}  // namespace
