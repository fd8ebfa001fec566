#include <cstdlib>

#include "support/test.h"
#include "vesta2/discovery.h"
#include "vesta2/i_result_directory.h"
#include "vesta2/names.h"
#include "vesta2/pattern.h"
#include "vesta2/result_directory_manager.h"
#include "vesta2/result_variable_bag.h"

namespace {

using namespace vesta2;

TEST(Pattern, GeneratesNames) {
    ResultVariableBag variables;
    variables.putVariable("user", "bob");
    variables.putVariable("number", 7);
    variables.putVariable("again", "{user}");
    variables.putVariable("", "unnamed");
    variables.putVariable("a{b", "odd");
    const basekit2::variant_bag_t* section = variables.get_bag("vesta");
    // With the numbers 5, 1000 and -5.
    for (const auto& [text, of5, of1000, ofMinus5] :
         rows<4>("r@@@ r005 r1000 r0-5; @@@@@@@@ 00000005 00001000 000000-5;"
                 "plain plain5 plain1000 plain-5; run@@.2x run05.2x run1000.2x run-5.2x;"
                 "{number}_@{user} {number}_5bob {number}_1000bob {number}_-5bob;"
                 "{again}{}{a{b}@ {user}unnamedodd5 {user}unnamedodd1000 {user}unnamedodd-5;"
                 "}{user}{@ }bob{5 }bob{1000 }bob{-5; {x}{x{user}@ {x}{x{user}5 {x}{x{user}1000 "
                 "{x}{x{user}-5")) {
        Pattern pattern;
        ASSERT_EQ(pattern.set(text, section), eOK) << text;
        EXPECT_EQ(pattern.generateFileName(5, section), of5);
        EXPECT_EQ(pattern.generateFileName(1000, section), of1000);
        EXPECT_EQ(pattern.generateFileName(-5, section), ofMinus5);
    }
    // Without a suffix of its own a pattern keeps that of the one before.
    Pattern pattern;
    pattern.set("a@.2x", nullptr);
    pattern.set("b@@", nullptr);
    EXPECT_EQ(pattern.generateFileName(1, nullptr), "b01.2x");
}

TEST(Pattern, MatchesPrefixAndNumber) {
    for (const auto& [text, name, expected] :
         rows<3>("r@@@ r; r@@@ rabc; r@@@ R001; r@@@ xr001; r@@@ r-1; r@@@ r12345 12345;"
                 "r@@@ r001.old 1; {user}@ {user}3 3; run@@2x run052x 5; run@@.2x run052x 52;"
                 "run@@2x run2 0; run@@22x run2")) {
        Pattern pattern;
        EXPECT_EQ(pattern.set(text, nullptr), eOK);
        int number = -1;
        EXPECT_EQ(pattern.match(name, &number), !expected.empty()) << text << " on " << name;
        EXPECT_EQ(number, expected.empty() ? -1 : std::stoi(expected)) << text << " on " << name;
    }
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

TEST(Split, TakesTheMarkerFileOff) {
    for (const auto& [path, directory, file] :
         rows<3>("/x/r000/a.zentor /x/r000 a.zentor; /x/.zentor /x .zentor; a.zentor - a.zentor;"
                 "/x/r@@@ /x/r@@@ .zentor; /x/a.zentorlink /x/a.zentorlink .zentor;"
                 "/x/a.Zentor /x/a.Zentor .zentor")) {
        std::string foundDirectory;
        std::string foundFile;
        splitDirPatternAndFileName(path, ".zentor", foundDirectory, foundFile);
        EXPECT_EQ(foundDirectory + ' ' + foundFile, directory + ' ' + file) << path;
    }
}

}  // namespace
