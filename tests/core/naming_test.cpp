#include <cstdlib>

#include "support/test.h"
#include "vesta2/i_result_directory.h"
#include "vesta2/names.h"
#include "vesta2/pattern.h"
#include "vesta2/result_directory_manager.h"
#include "vesta2/result_variable_bag.h"

namespace {

using namespace vesta2;

// What names a pattern makes and matches is in fuzz/patterns, but for numbers below 0.
TEST(Pattern, KeepsItsPartsAndTheSignOfANumber) {
    // Without a suffix of its own a pattern keeps that of the one before.
    Pattern pattern;
    pattern.set("a@.2x", nullptr);
    pattern.set("b@@", nullptr);
    EXPECT_EQ(pattern.generateFileName(1, nullptr), "b01.2x");
    EXPECT_EQ(pattern.generateFileName(-5, nullptr), "b-5.2x");
    // Nor does it match what lacks its prefix, or the digits that its suffix begins with.
    pattern.set("run@@22x", nullptr);
    EXPECT_FALSE(pattern.match("run2", nullptr) || pattern.match("x1022x", nullptr));
}

TEST(Pattern, IsRecognisedInPathsAndNames) {
    for (const std::string& path : words("r@@@ /x/r@/ /x/r*@ @@@@@@@@")) {
        EXPECT_TRUE(ResultDirectoryManager::isPathPatterned(path.c_str())) << path;
    }
    for (const std::string& path : words("/x@@/r a@b@ r@@@/y r /x/@@@@@@@@@")) {
        EXPECT_FALSE(ResultDirectoryManager::isPathPatterned(path.c_str())) << path;
    }
    EXPECT_EQ(ResultDirectoryManager::validateResultDirectoryPattern("r@@@"), eOK);
    EXPECT_EQ(ResultDirectoryManager::validateResultDirectoryPattern("a@b@*"), eReservedCharacters);
    EXPECT_EQ(ResultDirectoryManager::validateResultDirectoryPattern(nullptr), eEmptyPattern);
}

TEST(ResultVariableBag, KeepsVariablesInTheirSection) {
    basekit2::variant_bag_t initial;
    initial.put("vesta", "no bag");
    ResultVariableBag bag(&initial);
    bag.putVariable(nullptr, "x");
    EXPECT_TRUE(bag == initial && !bag.hasVariable("a"));
    bag.putVariable("a", "2");
    EXPECT_TRUE(bag.get_bag("vesta")->get_bag("variables")->has("a") && !bag.hasVariable(nullptr));
    EXPECT_EQ(ResultVariableBag(&bag).getVariable("a"), basekit2::variant_t("2"));
}

TEST(MpiRank, IsThatOfTheFirstVariableThatIsSet) {
    // The first decides, whatever it holds; "-" for one that is empty.
    for (const auto& [first, second, third, rank] :
         rows<4>("2 3 4 2; - 3 4 3; - - 4 4; x 3 4 0; 1x 3 4 0; 99999999999 3 4 0; -7 - - -7")) {
        ::setenv("PMI_RANK", first.c_str(), 1);
        ::setenv("PMI_ID", second.c_str(), 1);
        ::setenv("OMPI_COMM_WORLD_RANK", third.c_str(), 1);
        EXPECT_EQ(ResultDirectoryManager::getCurrentMpiRank(), std::stoi(rank)) << first;
    }
}

}  // namespace
