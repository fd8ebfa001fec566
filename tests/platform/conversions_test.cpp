#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "basekit2/md5.h"
#include "platkit/i18n.h"
#include "platkit/strings.h"

namespace {

TEST(Md5, KnownDigests) {
    const std::pair<std::string, const char*> cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
        {std::string(1, '\0'), "93b885adfe0da089cdf634904fd59f71"}};
    for (const auto& [text, digest] : cases) {
        basekit2::md5_t md5;
        md5.update(text.substr(0, 1));
        md5.update(text.substr(text.empty() ? 0 : 1));
        EXPECT_EQ(md5.get_digest_base16(), digest);
    }
}

TEST(UpperCase, IsUnicodeAndKeepsOtherBytes) {
    EXPECT_EQ(platkit::strings::to_upper("con-1.Zentor"), "CON-1.ZENTOR");
    EXPECT_EQ(platkit::strings::to_upper("\xC3\xA9\xC3\xBF\xE2\x82\xAC"),
              "\xC3\x89\xC5\xB8\xE2\x82\xAC");
    EXPECT_EQ(platkit::strings::to_upper("z\xFFz\xC3"), "Z\xFFZ\xC3");
}

TEST(GenericConvert, WholeDecimalsOnly) {
    for (const char* text : {"0", "12", "-5", "007", "2147483647", "-2147483648"}) {
        EXPECT_EQ(platkit::generic_convert(text), std::stoi(text)) << text;
    }
    for (const char* text :
         {"", "-", " 1", "1 ", "+1", "1x", "0x10", "2147483648", "-2147483649"}) {
        EXPECT_EQ(platkit::generic_convert(text), 0) << text;
    }
}

TEST(Messages, FillTheirPlaces) {
    const auto filled = [](const char* text) {
        return platkit::i18n::message_t(text).as_ustring({"a", "{0}"});
    };
    EXPECT_EQ(filled("{0} and {1}, {0}"), "a and {0}, a");
    for (const char* text : {"", "plain", "{2}", "{} {x} {-1} {99999999999999999999}", "{0"}) {
        EXPECT_EQ(filled(text), text);
    }
}

}  // namespace
