#include <gtest/gtest.h>
#include <stdio.h>

#include <array>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "support/temp_directory.h"
#include "vesta2/error.h"

namespace {

/// What the probe prints, errors included, with `environment` ("NAME=value ...") added to its own.
std::string probe(const std::string& environment, const std::string& arguments) {
    const std::string command = environment + " '" CORE_PROBE "' " + arguments + " 2>&1";
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
    std::string text;
    std::array<char, 512> buffer{};
    while (pipe && ::fgets(buffer.data(), static_cast<int>(buffer.size()), pipe.get())) {
        text += buffer.data();
    }
    return text;
}

class Product : public testing::Test {
protected:
    std::string withData(const char* product, const char* catalog) {
        support::writeFile(m_directory / "product.xml", product);
        support::writeFile(m_directory / "vesta2.catalog.xml", catalog);
        return "VESTA2_DATA_DIR='" + m_directory.path().native() + "'";
    }

    support::TempDirectory m_directory;
};

TEST_F(Product, AllNamesFollowTheShortName) {
    const std::string environment = withData(
        "<bag v=\"1\"><str n=\"shortName\">abc</str><str n=\"name\">The Product</str>"
        "<bag n=\"version\"><uint32 n=\"major\">1</uint32><uint32 n=\"minor\">2</uint32>"
        "<uint32 n=\"patch\">3</uint32><uint32 n=\"build\">4000000000</uint32></bag></bag>",
        "");
    EXPECT_EQ(probe(environment, "names"), "The Product\n1.2.3.4000000000\n"
                                           ".abc .abcproj .abcexp\n"
                                           ".abclink .abcprojlink .abcexplink\n"
                                           ".dflgabc .infoabc\n");
}

TEST_F(Product, BuiltInValuesServeWhereTheFileDoesNot) {
    const std::string names = ".zentor .zentorproj .zentorexp\n"
                              ".zentorlink .zentorprojlink .zentorexplink\n"
                              ".dflgzentor .infozentor\n";
    EXPECT_EQ(probe(withData("torn", ""), "names"), "vesta2\n0.0.0.0\n" + names);
    EXPECT_EQ(probe(withData("<bag v=\"1\"><int32 n=\"shortName\">1</int32>"
                             "<str n=\"name\">Other</str></bag>",
                             ""),
                    "names"),
              "Other\n0.0.0.0\n" + names);
}

TEST_F(Product, MessagesAreTheCatalogsOrTheirKeys) {
    const std::string torn = withData("", "<bag v=\"1\">");
    EXPECT_EQ(probe(torn, "message 4"), "%NotFound\n");
    EXPECT_EQ(probe(torn, "message 13"), "%Unknown\n");
    const std::string other =
        withData("", "<bag v=\"1\"><str n=\"%NotFound\">Nichts da {0}</str></bag>");
    EXPECT_EQ(probe(other, "message 4"), "Nichts da {0}\n");
    EXPECT_EQ(probe(other, "message 3"), "%AlreadyExists\n");
}

TEST(Messages, EveryCodeHasItsText) {
    const char* const texts[] = {
        "Success", "This operation is not supported", "You do not have permission to write here",
        "A file or directory of this name already exists", "No such node, file or directory",
        "An argument is missing, or the arguments do not go together",
        "This path cannot name a node",
        // names
        "The name has more than one group of \"@\" placeholders",
        "The group of \"@\" placeholders is longer than 8 characters",
        "The name contains one of the reserved characters < > : \" / \\ | ? *",
        "The name is reserved for a device", "The name ends with a dot or a space",
        "The name is empty"};
    int code = 0;
    for (const char* text : texts) {
        EXPECT_STREQ(vesta2::toString(static_cast<vesta2::error_t>(code++)), text);
    }
    EXPECT_STREQ(vesta2::toString(vesta2::eFileLocked), "Another process holds this flag");
    EXPECT_STREQ(vesta2::toString(vesta2::eFileError),
                 "A file could not be read, written, copied or moved");
    for (const int other : {13, 14, 17, 18, 19, 20, 21, 1000, -1}) {
        EXPECT_STREQ(vesta2::toString(static_cast<vesta2::error_t>(other)),
                     "The operation failed for an unexpected reason");
    }
}

TEST_F(Product, FailedNamesAreLogged) {
    const std::string environment = withData("", "broken");
    const std::string names = "check '' good 'a:b' 'end ' . 'end.' 'a|.'";
    EXPECT_EQ(probe(environment, names), "");
    const std::string file = m_directory / "log";
    EXPECT_EQ(probe(environment + " VESTA_LOG='warn:" + file + "'", names), "");
    const std::string log = support::readFile(file);
    const std::string begin = "[-0-9]+ [0-9:.]+ WARN vesta: %";
    const std::string end = ", at file: vcs/vesta2/src/vesta:[0-9]+\n";
    std::string expected = begin + "ReservedDeviceName" + end;
    for (const char* text :
         {"ReservedCharacters. Pattern: a:b", "InvalidLastCharacter. Pattern: end ",
          "InvalidLastCharacter. Pattern: end[.]", "ReservedCharacters. Pattern: a[|][.]"}) {
        expected.append(begin).append(text).append(end);
    }
    EXPECT_TRUE(std::regex_match(log, std::regex(expected))) << log;
    EXPECT_EQ(probe(environment + " VESTA_LOG='error:" + file + "2'", names), "");
    EXPECT_EQ(support::readFile(file + "2"), "");
}

}  // namespace
