#include <cstdint>

#include "basekit2/md5.h"
#include "basekit2/variant.h"
#include "platkit/strings.h"
#include "support/test.h"

namespace {

using basekit2::variant_bag_t;
using basekit2::variant_t;

std::vector<std::string> namesOf(const variant_bag_t& bag) {
    std::vector<std::string> names;
    for (const auto& entry : bag) {
        names.push_back(entry.name);
    }
    return names;
}

TEST(VariantBag, KeepsOrderAndPlaces) {
    variant_bag_t bag;
    for (const char* name : {"c", "a", "b"}) {
        bag.put(name, name);
    }
    bag.put("a", 5);
    EXPECT_NE(*bag.find("a"), variant_t(std::int64_t{5})) << "another kind";
    EXPECT_EQ(namesOf(bag), (std::vector<std::string>{"c", "a", "b"}));
    EXPECT_TRUE(bag.remove("c"));
    bag.put("b", variant_t());
    EXPECT_FALSE(bag.remove("c") || bag.has("b")) << "an empty value is none";
    const variant_t* value = bag.find("a");
    variant_bag_t* inner = &bag.put_bag("c");
    for (int i = 0; i < 5000; ++i) {
        bag.put(std::to_string(i), i);
    }
    for (int i = 0; i < 5000; ++i) {
        bag.remove(std::to_string(i));
    }
    EXPECT_EQ(namesOf(bag), (std::vector<std::string>{"a", "c"}));
    EXPECT_EQ(&bag.put_bag("c"), inner);
    const variant_bag_t moved = std::move(bag);
    EXPECT_EQ(moved.find("a"), value);
    EXPECT_EQ(moved.get_bag("c"), inner);
}

TEST(VariantBag, CopiesAreDeepAndMovesLeaveAUsableBag) {
    variant_bag_t bag;
    bag.put_bag("b").put("c", 2);
    variant_bag_t copy = bag;
    copy.put_bag("b").put("c", 3);
    EXPECT_NE(copy, bag);
    copy.put("d", 1);
    EXPECT_EQ(bag.get_bag("b")->get_variant("c"), variant_t(2));
    variant_bag_t moved = std::move(copy);
    EXPECT_TRUE(copy.empty());  // NOLINT: that it can be used again is what is tested
    copy.put("a", 1);
    variant_bag_t renamed;
    renamed.put("b", 1);
    EXPECT_NE(copy, renamed);
    moved = bag;
    bag.clear();
    moved.put("b", *moved.get_bag("b"));
    EXPECT_EQ(moved.get_bag("b")->get_variant("c"), variant_t(2));
}

TEST(Texts, PassWhateverTheyHold) {
    basekit2::md5_t md5;
    md5.update("a");
    md5.update("bc");
    EXPECT_EQ(md5.get_digest_base16(), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(platkit::strings::to_upper("con-z\xC3\xBF\xE2\x82\xAC\xFFz\xC3"),
              "CON-Z\xC5\xB8\xE2\x82\xAC\xFFZ\xC3");
}

}  // namespace
