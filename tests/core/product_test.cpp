#include <gtest/gtest.h>
#include <stdio.h>

#include <array>
#include <memory>
#include <regex>
#include <string>
#include <utility>

#include "basekit2/bag_io.h"
#include "optstore2/data_files.h"
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
    for (const std::string name :
         {"", "a/b", "a b", "..", "\xC3\xA9", "0123456789012345678901234567890123"}) {
        const std::string product = "<bag v=\"1\"><str n=\"shortName\">" + name + "</str></bag>";
        EXPECT_EQ(probe(withData(product.c_str(), ""), "names"), "vesta2\n0.0.0.0\n" + names);
    }
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
    EXPECT_EQ(probe(other, "later 4"), "%NotFound\nNichts da {0}\n");
}

TEST(Messages, EveryCodeHasItsText) {
    basekit2::variant_bag_t catalog;
    const std::string file = optstore2::findDataFile("vesta2.catalog.xml");
    ASSERT_EQ(basekit2::load_variant_bag(catalog, file, ""), basekit2::bag_ok) << file;
    const auto expectText = [&](int code, const char* key) {
        const char* text = vesta2::toString(static_cast<vesta2::error_t>(code));
        EXPECT_EQ(catalog.get_variant(key), basekit2::variant_t(text)) << code;
    };
    int code = 0;
    for (const char* key :
         {"%OK", "%NotImplemented", "%InsufficientPermissions", "%AlreadyExists",
          // 4 and on
          "%NotFound", "%ParameterError", "%InvalidPath", "%TooManyPlaceholderGroups",
          "%TooLongPlaceholder", "%ReservedCharacters", "%ReservedDeviceName",
          "%InvalidLastCharacter", "%EmptyPattern"}) {
        expectText(code++, key);
    }
    expectText(vesta2::eFileLocked, "%FileLocked");
    expectText(vesta2::eFileError, "%FileError");
    for (const int other : {13, 14, 17, 18, 19, 20, 21, 1000, -1}) {
        expectText(other, "%Unknown");
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
    // An unknown level counts as "warn".
    for (const auto& [level, warns] : {std::pair{"error", false}, {"DEBUG", true}, {"x", true}}) {
        probe(environment + " VESTA_LOG='" + level + ":" + file + level + "'", names);
        EXPECT_EQ(support::readFile(file + level).find(" WARN ") != std::string::npos, warns)
            << level;
    }
}

}  // namespace
