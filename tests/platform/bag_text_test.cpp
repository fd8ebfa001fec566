#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <limits>
#include <pugixml.hpp>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "basekit2/bag_io.h"

namespace {

using basekit2::variant_bag_t;
using basekit2::variant_t;

template <class Integer>
constexpr Integer least = std::numeric_limits<Integer>::min();
template <class Integer>
constexpr Integer most = std::numeric_limits<Integer>::max();

std::string saved(const variant_bag_t& bag) {
    std::string text;
    EXPECT_EQ(basekit2::save_variant_bag_to_string(bag, text), basekit2::bag_ok);
    return text;
}

void expectRoundTrip(const variant_bag_t& bag) {
    const std::string text = saved(bag);
    variant_bag_t back;
    back.put("from before", 1);
    ASSERT_EQ(basekit2::load_variant_bag_from_string(back, text), basekit2::bag_ok) << text;
    EXPECT_EQ(back, bag) << text;
}

/// A refusal is a failure code and an empty bag, whatever was in the bag before.
void expectRefused(const std::string& text, const char* root = "") {
    variant_bag_t bag;
    bag.put("from before", 1);
    EXPECT_TRUE(basekit2::bag_failed(basekit2::load_variant_bag_from_string(bag, text, root)))
        << testing::PrintToString(text);
    EXPECT_TRUE(bag.empty()) << testing::PrintToString(text);
}

void expectUnwritable(const variant_bag_t& bag, int result, const char* root = "bag") {
    std::string text = "from before";
    EXPECT_EQ(basekit2::save_variant_bag_to_string(bag, text, root), result);
    EXPECT_EQ(text, "");
}

std::string inRoot(const std::string& content) { return "<bag v=\"1\">" + content + "</bag>"; }

/// A bag of `levels` levels, the outermost included.
std::string nested(int levels) {
    std::string begin;
    std::string end;
    for (int i = 1; i < levels; ++i) {
        begin += "<bag n=\"b\">";
        end += "</bag>";
    }
    return inRoot(begin + end);
}

const char* const sampleText = R"(<?xml version="1.0" encoding="UTF-8"?>
<bag v="1">
 <bag n="vesta">
  <uint64 n="timestamp">1763712000</uint64>
  <str n="host">node17</str>
  <int32 n="rank">-3</int32>
  <bag n="variables">
   <str n="a&amp;b">&lt;é &quot;x&quot;&gt;</str>
  </bag>
  <str n="odd\x0A" e="x">\\ \x1B\xFF</str>
 </bag>
 <uint32 n="count">7</uint32>
 <int64 n="offset">-8</int64>
 <str n="nothing"></str>
</bag>
)";

TEST(BagText, IsTheFormatThatIsOnDisk) {
    variant_bag_t bag;
    ASSERT_EQ(basekit2::load_variant_bag_from_string(bag, sampleText, "bag"), basekit2::bag_ok);
    const variant_bag_t* vesta = bag.get_bag("vesta");
    ASSERT_NE(vesta, nullptr);
    EXPECT_EQ(vesta->get_variant("timestamp"), variant_t(std::uint64_t{1763712000}));
    EXPECT_EQ(vesta->get_variant("rank"), variant_t(-3));
    EXPECT_EQ(vesta->get_variant("odd\n"), variant_t("\\ \x1B\xFF"));
    EXPECT_EQ(vesta->get_bag("variables")->get_variant("a&b"), variant_t("<\xC3\xA9 \"x\">"));
    EXPECT_EQ(bag.get_variant("nothing"), variant_t(""));
    EXPECT_EQ(saved(bag), sampleText);
}

TEST(BagText, KeepsKindsLimitsAndOrder) {
    variant_bag_t bag;
    int names = 0;
    for (const variant_t& value : std::initializer_list<variant_t>{
             // each kind, at both ends
             least<std::int32_t>, most<std::int32_t>, std::uint32_t{0}, most<std::uint32_t>,
             least<std::int64_t>, most<std::int64_t>, std::uint64_t{0}, most<std::uint64_t>,
             // and without content
             "", variant_bag_t(), 0}) {
        bag.put(std::to_string(--names), value);
    }
    expectRoundTrip(bag);
}

TEST(BagText, BringsBackAnyBytes) {
    std::vector<std::string> texts{
        "", " ", " lead", "trail ", "a  b", "\t", "\n", "\r\n",
        // escapes and markup
        "\\", "\\\\", "\\x41", "a\\", "&amp;", "&#65;", "<a b=\"c\">'", "]]>", "<![CDATA[", "-->",
        // no UTF-8, or no XML
        std::string("a\0b", 3), "\xEF\xBB\xBF", "\xC2\x85", "\xEF\xBF\xBE", "\xEF\xBF\xBF",
        "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xC0\x80", "\xC3", "\xE2\x82\xAC \xF0\x9F\x98\x80"};
    std::string all;
    for (int byte = 0; byte < 256; ++byte) {
        texts.emplace_back(1, static_cast<char>(byte));
        all += static_cast<char>(byte);
    }
    texts.push_back(all);
    for (const std::string& text : texts) {
        variant_bag_t bag;
        bag.put("value", text);
        bag.put_bag("names").put(text, "plain");
        bag.put_bag("both").put(text, text);
        bag.put_bag("bags").put_bag(text).put(text, 1);
        expectRoundTrip(bag);
    }
}

TEST(BagText, HoldsSixtyFourLevelsAndNoMore) {
    variant_bag_t bag;
    ASSERT_EQ(basekit2::load_variant_bag_from_string(bag, nested(64)), basekit2::bag_ok);
    expectRoundTrip(bag);
    expectRefused(nested(65));
    expectRefused(nested(100'000));

    variant_bag_t tooDeep;
    tooDeep.put("b", bag);
    expectUnwritable(tooDeep, basekit2::bag_malformed);
    expectUnwritable(bag, basekit2::bag_malformed, "a b");
    expectUnwritable(bag, basekit2::bag_malformed, "");
    expectUnwritable(bag, basekit2::bag_malformed, nullptr);
}

TEST(BagText, HoldsSixteenMebibytesAndNoMore) {
    const std::string begin = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<bag v=\"1\">\n"
                              " <str n=\"a\">";
    const std::string end = "</str>\n</bag>\n";
    std::string content((std::size_t{16} << 20) - begin.size() - end.size(), 'x');
    variant_bag_t bag;
    bag.put("a", content);
    const std::string text = begin + content + end;
    EXPECT_TRUE(saved(bag) == text);
    variant_bag_t back;
    ASSERT_EQ(basekit2::load_variant_bag_from_string(back, text), basekit2::bag_ok);
    EXPECT_TRUE(back == bag);
    EXPECT_EQ(basekit2::load_variant_bag_from_string(back, text + '\n'), basekit2::bag_too_large);
    bag.put("a", content + 'x');
    expectUnwritable(bag, basekit2::bag_too_large);
}

TEST(BagText, HoldsSoManyValuesAndNoMore) {
    std::string text = "<bag v='1'><bag n='inner'>";
    for (int i = 1; i < 1 << 18; ++i) {
        text.append("<str n='").append(std::to_string(i)).append("'/>");
    }
    variant_bag_t bag;
    EXPECT_EQ(basekit2::load_variant_bag_from_string(bag, text + "</bag><bag n='b'/></bag>"),
              basekit2::bag_too_large);
    EXPECT_TRUE(bag.empty());
    ASSERT_EQ(basekit2::load_variant_bag_from_string(bag, text + "</bag></bag>"), basekit2::bag_ok);
    saved(bag);
    bag.put_bag("b");
    expectUnwritable(bag, basekit2::bag_too_large);
}

/// As much of `piece` as the limit allows; a "#" in it is counted.
std::string filled(const std::string& begin, const std::string& piece, const std::string& end) {
    std::string text = begin;
    for (int i = 0; text.size() + piece.size() + end.size() + 8 < std::size_t{16} << 20; ++i) {
        const std::size_t number = piece.find('#');
        text.append(piece, 0, number);
        if (number != std::string::npos) {
            text.append(std::to_string(i)).append(piece, number + 1);
        }
    }
    return text + end;
}

TEST(BagText, CostsBoundedMemoryWhateverItHolds) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers take memory of their own";
#endif
    const auto costs = [](const std::function<void()>& work) {
        const pid_t child = ::fork();
        if (child == 0) {
            work();
            ::_exit(0);
        }
        int status = 0;
        rusage usage{};
        EXPECT_EQ(::wait4(child, &status, 0, &usage), child);
        EXPECT_EQ(status, 0);
        return usage.ru_maxrss >> 10;
    };
    const std::pair<std::string, std::string> shapes[] = {
        // what is accepted, and what is refused late or at once
        {"", "<a/>"},
        {"<bag v='1'>", "<a>"},
        {"<bag v='1'>", "<bag n=''>"},
        {"<bag v='1'>", "<bag n='#'/>"},
        {"<bag v='1'>", "<bag n='#'><bag n='1'/></bag>"},
        {"<bag v='1'>", "<str n='#'/>"},
        {"<bag v='1'>", "<str n='#'>                                   </str>"},
        {"<bag v='1'>", "<!---->"},
        {"<bag v='1'>", "x<a/>"},
        {"<bag v='1'>", "\n"},
        {"<bag v='1'><bag", " a=''"},
        {"<bag v='1'><bag", " n='#'"},
        {"<bag v='1'><str n='", "&amp;"},
        {"<bag v='1'><str n='b' e='x'>", "\\xFF"},
        {"<bag v='1'><str n='b' e='x'>", "&#1;"}};
    for (const auto& [begin, piece] : shapes) {
        EXPECT_LT(costs([&, &start = begin, &middle = piece] {
                      variant_bag_t bag;
                      basekit2::load_variant_bag_from_string(bag, filled(start, middle, "</bag>"));
                  }),
                  256)
            << begin << piece;
    }
    for (const char c : {'x', '&', '\\', '\1'}) {
        EXPECT_LT(costs([&] {
                      variant_bag_t bag;
                      bag.put("a", std::string(std::size_t{64} << 20, c));
                      std::string text;
                      basekit2::save_variant_bag_to_string(bag, text);
                  }),
                  256)
            << c;
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
         {text, "<?xml version='1.0'?>" + text, "\xEF\xBB\xBF" + text,
          "<?xml version='1.0' encoding='utf-8' standalone='no' ?>" + text}) {
        variant_bag_t bag;
        EXPECT_EQ(basekit2::load_variant_bag_from_string(bag, layout), basekit2::bag_ok) << layout;
        EXPECT_EQ(bag, expected) << layout;
    }
}

TEST(BagText, RefusesADocumentThatIsNotOneBag) {
    const std::string good = inRoot("<str n='a'>b</str>");
    for (const std::string& text : std::vector<std::string>{
             // no element that is whole
             "", " ", "text", std::string(1, '\0'), "<", "<bag", "<bag v='1'>", "</bag>",
             "<?xml version='1.0'?>", "<bag v='1'></bog>", "<bag v='1'><str n='a'></bag></str>",
             // no root of this format
             "<bag/>", "<bag v='2'/>", "<bag v='01'/>", "<bag v=''/>", "<bag v='1 '/>",
             "<bag v='1' v='1'/>", "<bag v='1' n='a'/>", "<bag v='1' e='x'/>", "<bag v='1' q=''/>",
             // something beside the root
             good + good, good + "text", "text" + good, good + "<!-- c -->", "<!-- c -->" + good,
             "<!DOCTYPE bag>" + good, "<!DOCTYPE bag [<!ENTITY a \"aaa\">]>" + good,
             "<?xml?>" + good, "<?xml version='1.1'?>" + good, "<?xml encoding='UTF-8'?>" + good,
             "<?xml version='1.0' encoding='ISO-8859-1'?>" + good,
             "<?xml version='1.0' encoding='UTF-16'?>" + good,
             "<?xml version='1.0' version='1.0'?>" + good, " <?xml version='1.0'?>" + good,
             "<?php x?>" + good, good + "<?xml version='1.0'?>", good + std::string(1, '\0'),
             good + "\xFF"}) {
        expectRefused(text);
    }
    for (const char* root : {"ba", "bags", "link"}) {
        expectRefused(good, root);
    }
}

TEST(BagText, RefusesEntriesThatTheWriterNeverWrites) {
    for (const std::string& content : std::vector<std::string>{
             // kinds and attributes
             "<float n='a'>1</float>", "<Str n='a'/>", "<str>b</str>", "<str v='1' n='a'/>",
             "<str n='a' n='b'/>", "<str n='a' n='a'/>", "<str n='a' q='1'/>", "<str n='a' e='y'/>",
             "<str n='a' e='x' e='x'/>", "<str n='a' e=''/>", "<str n=a/>",
             // names twice
             "<str n='a'/><str n='a'/>", "<int32 n='a'>1</int32><bag n='a'/>",
             "<str n='a'/><str n='\\x61' e='x'/>",
             // what may not stand in a bag, in a string, in a number
             "text", "<bag n='b'>text</bag>", "<!-- c -->", "<str n='a'>b<!-- c --></str>",
             "<str n='a'> <!-- c --></str>", "<![CDATA[ ]]>", "<str n='a'><![CDATA[b]]></str>",
             "<str n='a'><?p?></str>", "<str n='a'><str n='b'/></str>",
             "<int32 n='a'>1<!-- c --></int32>",
             // markup where there is none
             "<str n='a<b'/>", "<str n='a'>]]></str>", "<str n='a'>b]]>c</str>",
             "<str n='a'/>&#32;",
             // bytes that have to be escaped
             "<str n='a'>\n</str>", "<str n='a'>b\r</str>", "<str n='a'>\x1B</str>",
             "<str n='a\tb'/>", "<str n='a'>\xFF</str>", "<str n='\xC3'/>", "\xFF",
             "<str n='a'>\xEF\xBF\xBE</str>", "<str n='a'>\xED\xA0\x80</str>",
             std::string("<str n='a'>b\0c</str>", 20), std::string("<str n='a\0'/>", 13),
             // numbers
             "<int32 n='a'></int32>", "<int32 n='a'> 1</int32>", "<int32 n='a'>1 </int32>",
             "<int32 n='a'>+1</int32>", "<int32 n='a'>-0</int32>", "<int64 n='a'>-01</int64>",
             "<int32 n='a'>007</int32>", "<uint32 n='a'>00</uint32>", "<uint64 n='a'>01</uint64>",
             "<int32 n='a'>1.0</int32>", "<int32 n='a'>1e3</int32>", "<int32 n='a'>0x1</int32>",
             "<int32 n='a'>--1</int32>", "<int32 n='a'>-</int32>",
             "<int32 n='a'>2147483648</int32>", "<int32 n='a'>-2147483649</int32>",
             "<uint32 n='a'>-1</uint32>", "<uint32 n='a'>4294967296</uint32>",
             "<int64 n='a'>9223372036854775808</int64>", "<uint64 n='a'>-1</uint64>",
             "<int64 n='a'>-9223372036854775809</int64>",
             "<uint64 n='a'>18446744073709551616</uint64>", "<uint64 n='a'>+1</uint64>"}) {
        expectRefused(inRoot(content));
    }
}

TEST(BagText, RefusesReferencesAndEscapesThatTellNoCharacter) {
    for (const std::string& text :
         std::vector<std::string>{"&foo;", "&", "& b", "&amp", "&AMP;",  // by number
                                  "b&#0;c", "&#x0;", "&#10;", "&#xD800;", "&#xFFFE;", "&#x110000;",
                                  "&#4294967361;", "&#;", "&#x;", "&#65", "&#X41;"}) {
        expectRefused(inRoot("<str n='a'>" + text + "</str>"));
        expectRefused(inRoot("<str n='" + text + "'/>"));
        expectRefused(inRoot("<int32 n='a'>1" + text + "</int32>"));
    }
    for (const std::string text : {"\\", "\\x", "\\x4", "\\x4G", "\\x-1", "\\n", "a\\\\\\"}) {
        expectRefused(inRoot("<str n='a' e='x'>" + text + "</str>"));
        expectRefused(inRoot("<str n='" + text + "' e='x'/>"));
    }
}

/// What a general parser finds in an element, as texts that begin with their kind.
variant_bag_t parsed(const pugi::xml_node& element) {
    const auto unescaped = [](const pugi::xml_node& node, std::string text) {
        for (std::size_t at = node.attribute("e") ? 0 : text.npos;
             (at = text.find('\\', at)) < text.size(); ++at) {
            const bool hex = text[at + 1] == 'x';
            const int byte = hex ? std::stoi(text.substr(at + 2, 2), nullptr, 16) : '\\';
            text.replace(at, hex ? 4 : 2, 1, static_cast<char>(byte));
        }
        return text;
    };
    variant_bag_t bag;
    for (const pugi::xml_node node : element.children()) {
        const std::string kind = node.name();
        bag.put(unescaped(node, node.attribute("n").value()),
                kind == "bag" ? variant_t(parsed(node))
                              : variant_t(kind + unescaped(node, node.child_value())));
    }
    return bag;
}

/// The same of a bag that was read.
variant_bag_t described(const variant_bag_t& bag) {
    const char* const kinds[] = {"", "int32", "uint32", "int64", "uint64", "str"};
    variant_bag_t texts;
    for (const auto& [name, value] : bag) {
        const std::string* text = value.as_string();
        texts.put(name, value.as_bag()
                            ? variant_t(described(*value.as_bag()))
                            : variant_t(kinds[static_cast<int>(value.kind())] +
                                        (text ? *text : std::to_string(value.to_int64()))));
    }
    return texts;
}

TEST(BagText, IsReadAsAGeneralParserReadsItOrRefused) {
    std::mt19937 random(1);
    const std::string whole = sampleText;
    const std::string bytes = std::string("<&\"'/ \n=>;x#]?!-+\\01aestb\xFF\xC3\xA9") + '\0';
    int accepted = 0;
    for (int round = 0; round < 10'000; ++round) {
        std::string damaged = whole;
        for (auto changes = 1 + random() % 3; changes > 0; --changes) {
            const std::size_t at = random() % damaged.size();
            const std::string piece = random() % 2
                                          ? std::string(1, bytes[random() % bytes.size()])
                                          : whole.substr(random() % whole.size(), random() % 20);
            damaged.replace(at, random() % 3, piece);
        }
        variant_bag_t bag;
        if (basekit2::bag_failed(basekit2::load_variant_bag_from_string(bag, damaged))) {
            ASSERT_TRUE(bag.empty()) << damaged;
            continue;
        }
        ++accepted;
        pugi::xml_document document;
        ASSERT_TRUE(document.load_buffer(damaged.data(), damaged.size(),
                                         pugi::parse_escapes | pugi::parse_ws_pcdata_single,
                                         pugi::encoding_utf8))
            << damaged;
        ASSERT_TRUE(described(bag) == parsed(document.first_child())) << damaged;
    }
    EXPECT_GT(accepted, 300);
}

TEST(BagText, IsNeverReadHalf) {
    const std::string whole = sampleText;
    for (std::size_t at = 0; at + 1 < whole.size(); ++at) {
        expectRefused(whole.substr(0, at));
    }
}

}  // namespace
