#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <tuple>
#include <utility>

#include "support/temp_directory.h"
#include "vesta2/discovery.h"
#include "vesta2/i_result_directory.h"
#include "vesta2/names.h"
#include "vesta2/pattern.h"
#include "vesta2/result_directory_manager.h"
#include "vesta2/result_variable_bag.h"

namespace {

using basekit2::variant_bag_t;
using namespace vesta2;
using vesta2::error_t;  // the C library has one too

variant_bag_t vestaSection() {
    variant_bag_t bag;
    variant_bag_t& variables = bag.put_bag("variables");
    variables.put("user", "bob");
    variables.put("number", 7);
    variables.put("again", "{user}");
    variables.put("", "unnamed");
    variables.put("a{b", "odd");
    return bag;
}

TEST(Pattern, ParsesAndGenerates) {
    const variant_bag_t bag = vestaSection();
    const std::tuple<const char*, int, const char*, const char*, const char*> cases[] = {
        {"r@@@", 3, "r005", "r1000", "r0-5"},
        {"@@@@@@@@", 8, "00000005", "00001000", "000000-5"},
        {"plain", 0, "plain5", "plain1000", "plain-5"},
        {"run@@.2x", 2, "run05.2x", "run1000.2x", "run-5.2x"},
        {"{user}_@@", 2, "bob_05", "bob_1000", "bob_-5"},
        {"{number}_@{user}", 1, "{number}_5bob", "{number}_1000bob", "{number}_-5bob"}};
    for (const auto& [text, width, of5, of1000, ofMinus5] : cases) {
        Pattern pattern;
        ASSERT_EQ(pattern.set(text, &bag), eOK) << text;
        EXPECT_EQ(pattern.width(), width) << text;
        EXPECT_EQ(pattern.generateFileName(5, &bag), of5);
        EXPECT_EQ(pattern.generateFileName(1000, &bag), of1000);
        EXPECT_EQ(pattern.generateFileName(-5, &bag), ofMinus5);
    }
    for (const char* text : {"a@@b@c", "@a@", "@@@@@@@@@x@"}) {
        EXPECT_EQ(Pattern().set(text, nullptr), eTooManyPlaceholderGroups) << text;
    }
    for (const std::string& text : {std::string("r@@@@@@@@@.x"), std::string(100'000, '@')}) {
        EXPECT_EQ(Pattern().set(text, nullptr), eTooLongPlaceholder);
    }
    // Without a suffix of its own a pattern keeps that of the one before.
    Pattern pattern;
    pattern.set("a@.2x", nullptr);
    pattern.set("b@@", nullptr);
    EXPECT_EQ(pattern.generateFileName(1, nullptr), "b01.2x");
}

TEST(Pattern, SubstitutesOnce) {
    const variant_bag_t bag = vestaSection();
    const auto expectSubst = [&bag](const char* text, const char* expected) {
        EXPECT_EQ(Pattern::subst(text, &bag), expected);
        EXPECT_EQ(Pattern::subst(text, nullptr), text);
    };
    expectSubst("a{user}b{user}", "abobbbob");
    expectSubst("{again}{}{a{b}", "{user}unnamedodd");
    expectSubst("}{user}{", "}bob{");
    for (const char* text : {"", "{number}", "{missing}", "{x{user}", "{user", "user}"}) {
        expectSubst(text, text);
    }
    const variant_bag_t noVariables;
    EXPECT_EQ(Pattern::subst("{user}", &noVariables), "{user}");
}

TEST(Pattern, MatchesPrefixAndNumber) {
    constexpr int none = -1;
    const auto match = [](const char* text, const char* name) {
        Pattern pattern;
        EXPECT_EQ(pattern.set(text, nullptr), eOK);
        int number = none;
        const bool matches = pattern.match(name, &number);
        EXPECT_EQ(matches, number != none) << text << " on " << name;
        return number;
    };
    for (const char* name : {"", "r", "rabc", "R001", "xr001", "r-1"}) {
        EXPECT_EQ(match("r@@@", name), none) << name;
    }
    EXPECT_EQ(match("r@@@", "r000"), 0);
    EXPECT_EQ(match("r@@@", "r12345"), 12345);
    EXPECT_EQ(match("r@@@", "r001.old"), 1);
    EXPECT_EQ(match("{user}@", "{user}3"), 3);
    EXPECT_EQ(match("run@@.2x", "run052x"), 52) << "this suffix begins with no digit";
    EXPECT_EQ(match("run@@2x", "run052x"), 5);
    EXPECT_EQ(match("run@@2x", "run2"), 0);
    EXPECT_EQ(match("run@@22x", "run2"), none);
}

TEST(Pattern, IsRecognisedInPathsAndNames) {
    for (const char* path : {"r@@@", "/x/r@/", "/x/r*@", "@@@@@@@@"}) {
        EXPECT_TRUE(ResultDirectoryManager::isPathPatterned(path)) << path;
    }
    for (const char* path : {"/x@@/r", "a@b@", "r@@@/y", "r", "/x/@@@@@@@@@"}) {
        EXPECT_FALSE(ResultDirectoryManager::isPathPatterned(path)) << path;
    }
    const auto validate = ResultDirectoryManager::validateResultDirectoryPattern;
    EXPECT_EQ(validate("r@@@"), eOK);
    EXPECT_EQ(validate(nullptr), eEmptyPattern);
    EXPECT_EQ(validate("a@b@"), eTooManyPlaceholderGroups);
    EXPECT_EQ(validate("@@@@@@@@@"), eTooLongPlaceholder);
    EXPECT_EQ(validate("a@b@*"), eReservedCharacters);
    EXPECT_EQ(validate("a@b@."), eInvalidLastCharacter);
}

TEST(ResultVariableBag, KeepsVariablesInTheirSection) {
    variant_bag_t initial;
    initial.put("vesta", "no bag");
    ResultVariableBag bag(&initial);
    EXPECT_FALSE(bag.hasVariable("a"));
    EXPECT_TRUE(bag.getVariable("a").empty());
    bag.putVariable(nullptr, "x");
    EXPECT_EQ(bag, initial);
    bag.putVariable("a", "1");
    bag.putVariable("a", "2");
    EXPECT_EQ(*bag.get_bag("vesta")->get_bag("variables")->find("a")->as_string(), "2");
    EXPECT_TRUE(bag.hasVariable("a"));
    EXPECT_FALSE(bag.hasVariable(nullptr));
    EXPECT_EQ(ResultVariableBag(&bag).getVariable("a"), basekit2::variant_t("2"));
}

TEST(MpiRank, IsThatOfTheFirstVariableThatIsSet) {
    const auto rank = [](std::initializer_list<const char*> values) {
        const char* const names[] = {"PMI_RANK", "PMI_ID", "OMPI_COMM_WORLD_RANK"};
        const char* const* name = names;
        for (const char* value : values) {
            value ? ::setenv(*name++, value, 1) : ::unsetenv(*name++);
        }
        return ResultDirectoryManager::getCurrentMpiRank();
    };
    EXPECT_EQ(rank({"", "", ""}), -1);
    EXPECT_EQ(rank({"2", "3", "4"}), 2);
    EXPECT_EQ(rank({"", "3", "4"}), 3);
    EXPECT_EQ(rank({nullptr, nullptr, "4"}), 4);
    EXPECT_EQ(rank({"x", "3", "4"}), 0) << "the first that is set decides, whatever it holds";
    EXPECT_EQ(rank({"-7", nullptr, nullptr}), -7);
    EXPECT_EQ(rank({nullptr, nullptr, nullptr}), -1);
}

TEST(Names, DataDirectoriesAreNumbered) {
    EXPECT_EQ(makeDataFolderName(0), "data.0");
    EXPECT_EQ(makeDataFolderName(12), "data.12");
    const support::TempDirectory directory;
    const std::string path = directory.path().native();
    EXPECT_EQ(IResultDirectory::generateCollectorDataDirName(path), "data.0");
    boost::filesystem::create_directory(directory / "data.0");
    support::writeFile(directory / "data.2", "");
    EXPECT_EQ(IResultDirectory::generateCollectorDataDirName(path), "data.1");
}

TEST(Split, TakesTheMarkerFileOff) {
    using Parts = std::pair<std::string, std::string>;
    const auto split = [](const char* path) {
        Parts parts;
        splitDirPatternAndFileName(path, ".zentor", parts.first, parts.second);
        return parts;
    };
    EXPECT_EQ(split("/x/r000/a.zentor"), Parts("/x/r000", "a.zentor"));
    EXPECT_EQ(split("/x/.zentor"), Parts("/x", ".zentor"));
    EXPECT_EQ(split("a.zentor"), Parts("", "a.zentor"));
    for (const char* path : {"/x/r@@@", "/x/a.zentorlink", "/x/a.Zentor"}) {
        EXPECT_EQ(split(path), Parts(path, ".zentor"));
    }
}

}  // namespace
