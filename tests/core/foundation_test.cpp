#include <cerrno>

#include "basekit2/bag_io.h"
#include "support/test.h"
#include "vesta2/error.h"
#include "vesta2/names.h"
#include "vesta2/result_directory_manager.h"

namespace {

using namespace vesta2;

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
    // Others show wherever files are made and opened.
    for (const auto& [number, code] :
         {std::pair{EROFS, eInsufficientPermissions}, {EPERM, eUnknown}}) {
        const boost::system::error_code error(number, boost::system::system_category());
        EXPECT_EQ(errorFromBoostError(fs::filesystem_error("", error)), code) << number;
    }
    EXPECT_EQ(errorFromObxError(basekit2::bag_ok), eOK);
    EXPECT_EQ(errorFromObxError(0), eUnknown);
}

}  // namespace
