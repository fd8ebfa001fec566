#include <sys/resource.h>

#include <boost/algorithm/string/replace.hpp>
#include <cstdint>

#include "basekit2/bag_io.h"
#include "support/test.h"

namespace {

using basekit2::variant_bag_t;
using basekit2::variant_t;

constexpr std::size_t most = std::size_t{16} << 20;

std::string saved(const variant_bag_t& bag) {
    std::string text;
    EXPECT_EQ(basekit2::save_variant_bag_to_string(bag, text), basekit2::bag_ok);
    return text;
}

void expectRoundTrip(const variant_bag_t& bag) {
    const std::string text = saved(bag);
    variant_bag_t back;
    back.put("from before", 1);
    ASSERT_EQ(basekit2::load_variant_bag_from_string(back, text), basekit2::bag_ok);
    EXPECT_TRUE(back == bag) << text.substr(0, 1000);
}

/// A refusal is a failure code and an empty bag, whatever was in the bag before.
void expectRefused(const std::string& text, const char* root = "",
                   int result = basekit2::bag_malformed) {
    variant_bag_t bag;
    bag.put("from before", 1);
    EXPECT_EQ(basekit2::load_variant_bag_from_string(bag, text, root), result)
        << testing::PrintToString(text.substr(0, 1000));
    EXPECT_TRUE(bag.empty()) << testing::PrintToString(text.substr(0, 1000));
}

void expectUnwritable(const variant_bag_t& bag, int result, const char* root = "bag") {
    std::string text = "from before";
    EXPECT_EQ(basekit2::save_variant_bag_to_string(bag, text, root), result);
    EXPECT_EQ(text, "");
}

const char* const sampleText = R"(<?xml version="1.0" encoding="UTF-8"?>
<bag v="1">
 <bag n="vesta">
  <uint64 n="timestamp">1763712000</uint64>
  <str n="host">node17</str>
  <int32 n="rank">-2147483648</int32>
  <bag n="variables">
   <str n="a&amp;b">&lt;é &quot;x&quot;&gt;</str>
  </bag>
  <str n="own\x0A" e="x">\\ \x1B\xFF</str>
 </bag>
 <uint32 n="count">4294967295</uint32>
 <int64 n="offset">-9223372036854775808</int64>
 <uint64 n="most">18446744073709551615</uint64>
 <str n="nothing"></str>
</bag>
)";

TEST(BagText, IsTheFormatThatIsOnDisk) {
    variant_bag_t bag;
    ASSERT_EQ(basekit2::load_variant_bag_from_string(bag, sampleText, "bag"), basekit2::bag_ok);
    const variant_bag_t* vesta = bag.get_bag("vesta");
    ASSERT_NE(vesta, nullptr);
    EXPECT_EQ(vesta->get_variant("timestamp"), variant_t(std::uint64_t{1763712000}));
    EXPECT_EQ(vesta->get_variant("own\n"), variant_t("\\ \x1B\xFF"));
    EXPECT_EQ(vesta->get_bag("variables")->get_variant("a&b"), variant_t("<\xC3\xA9 \"x\">"));
    EXPECT_EQ(saved(bag), sampleText);
}

TEST(BagText, HoldsSoMuchAndNoMore) {
    for (const char* root : {"a b", "", static_cast<const char*>(nullptr)}) {
        expectUnwritable({}, basekit2::bag_malformed, root);
    }

    variant_bag_t large;
    large.put("a", "");
    large.put("a", std::string(most - saved(large).size(), 'x'));
    expectRoundTrip(large);
    expectRefused(saved(large) + '\n', "", basekit2::bag_too_large);
    large.put("a", *large.find("a")->as_string() + 'x');
    expectUnwritable(large, basekit2::bag_too_large);

    variant_bag_t many;
    for (int i = 1; i < 1 << 18; ++i) {
        many.put_bag("inner").put(std::to_string(i), 1);
    }
    expectRoundTrip(many);
    std::string text = saved(many);
    expectRefused(text.insert(text.rfind("</bag>"), "<bag n='b'/>"), "", basekit2::bag_too_large);
    many.put_bag("b");
    expectUnwritable(many, basekit2::bag_too_large);
}

/// As much as the limit allows of the piece behind "|", each with a number for its "#".
std::string filled(const std::string& shape) {
    const std::size_t bar = shape.find('|');
    std::string text = shape.substr(0, bar);
    for (int i = 0; text.size() + shape.size() + 16 < most; ++i) {
        text += boost::replace_first_copy(shape.substr(bar + 1), "#", std::to_string(i));
    }
    return text + "</bag>";
}

TEST(BagText, CostsBoundedMemoryWhateverItHolds) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers take memory of their own";
#endif
    const auto isCheap = [](const std::function<void()>& work) {
        return support::runInChild([&work] {
                   work();
                   rusage usage{};
                   ::getrusage(RUSAGE_SELF, &usage);
                   return usage.ru_maxrss < 256 << 10 ? 0 : 1;
               }) == 0;
    };
    for (const std::string shape :
         {"|<a/>", "<bag v='1'>|<bag n=''>", "<bag v='1'>|<bag n='#'/>", "<bag v='1'>|<str n='#'/>",
          // what is refused late or at once
          "<bag v='1'>|<bag n='#'><bag n='1'/></bag>", "<bag v='1'>|<!---->", "<bag v='1'>|\n",
          "<bag v='1'>|<str n='#'>                                   </str>",
          "<bag v='1'><bag| n='#'", "<bag v='1'><str n='|&amp;",
          "<bag v='1'><str n='b' e='x'>|\\xFF"}) {
        EXPECT_TRUE(isCheap([&shape] {
            variant_bag_t bag;
            basekit2::load_variant_bag_from_string(bag, filled(shape));
        })) << shape;
    }
    for (const char c : {'x', '&', '\\', '\1'}) {
        EXPECT_TRUE(isCheap([c] {
            variant_bag_t bag;
            bag.put("a", std::string(4 * most, c));
            std::string text;
            basekit2::save_variant_bag_to_string(bag, text);
        })) << c;
    }
}

TEST(BagText, AcceptsOtherLayouts) {
    variant_bag_t expected;
    expected.put("a", "it's A");
    expected.put_bag("b").put("c", 5);
    const std::string text =
        "\n<any  v='1' ><str n='a'>it&apos;s &#65;</str>\n\n<bag n = \"b\" >\r\n\t"
        "<int32 n='c'>5</int32></bag></any>\n \n";
    for (const std::string& layout :
         {text, "\xEF\xBB\xBF" + text,
          "<?xml version='1.0' encoding='utf-8' standalone='no' ?>" + text}) {
        variant_bag_t bag;
        EXPECT_EQ(basekit2::load_variant_bag_from_string(bag, layout), basekit2::bag_ok) << layout;
        EXPECT_EQ(bag, expected) << layout;
    }
}

/// With all gone that may be written in more than one way.
std::string canonical(std::string text) {
    boost::replace_all(text, "&gt;", ">");
    boost::replace_all(text, "&quot;", "\"");
    boost::replace_all(text, "'", "\"");
    std::erase_if(text, [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; });
    return text;
}

/// Damaged in one place, a text is refused, or it is what the writer writes of what it then holds.
TEST(BagText, RefusesAllThatTheWriterNeverWrites) {
    const std::string whole = sampleText;
    int accepted = 0;
    const auto expectRefusedOrCanonical = [&accepted](const std::string& text) {
        variant_bag_t bag;
        if (basekit2::load_variant_bag_from_string(bag, text, "bag") == basekit2::bag_ok) {
            ASSERT_EQ(canonical(saved(bag)), canonical(text));
            ++accepted;
        }
    };
    const std::vector<std::string> pieces{
        "0", "1", "99999999999", "x", "+", "-", ".", "_", " ", "\n", "/", "<", ">", "&", "'", "\"",
        // bytes that have to be escaped
        std::string(1, '\0'), "\r", "\t", "\x1B", "\xFF", "\xC3", "\xEF\xBF\xBE", "\xED\xA0\x80",
        // references that tell no character
        "&foo;", "&x65;", "&amp", "&#0;", "&#10;", "&#xD800;", "&#xFFFE;", "&#x110000;",
        "&#4294967361;", "&#;", "&#x;", "&#X41;", "&#65", "\\", "\\x4", "\\n", "\\x4G", "\\x-1",
        // markup, attributes and entries that are none
        "<!-- c -->", "<![CDATA[b]]>", "]]>", "<?p?>", "<!DOCTYPE bag>", "<!ENTITY a \"b\">",
        " n=\"b\"", " v=\"1\"", " q=\"1\"", " e=\"y\"", " e=\"x\" e=\"x\"", " n=a", "</bag>",
        "<bag v=\"1\"/>", "<str>b</str>", "<float n=\"z\">1</float>", "<str n=\"count\">x</str>",
        "<str n=\"c\\x6Funt\" e=\"x\">\xFF</str>", "<int32 n=\"y\">-0</int32>", "text"};
    for (std::size_t at = 0; at <= whole.size(); ++at) {
        for (const std::string& piece : pieces) {
            expectRefusedOrCanonical(std::string(whole).insert(at, piece));
        }
        expectRefusedOrCanonical(std::string(whole).erase(at, 1));
        at + 1 < whole.size() ? expectRefused(whole.substr(0, at)) : void();
    }
    EXPECT_GT(accepted, 1000);
    for (const char* root : {"ba", "bags", "link"}) {
        expectRefused(whole, root);
    }
    expectRefused("<bag/>");
    expectRefused("<bag v='1'><str n='a'>b]]>c</str></bag>");
}

}  // namespace
