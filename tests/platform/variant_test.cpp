#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "basekit2/variant.h"

namespace {

using basekit2::variant_bag_t;
using basekit2::variant_t;
using testing::ElementsAre;

std::vector<std::string> namesOf(const variant_bag_t& bag) {
    std::vector<std::string> names;
    for (const auto& entry : bag) {
        names.push_back(entry.name);
    }
    return names;
}

TEST(Variant, EqualityCountsKindAndContent) {
    variant_bag_t bag;
    bag.put("a", 1);
    variant_bag_t renamed;
    renamed.put("b", 1);
    const std::vector<variant_t> different{variant_t(), std::int32_t{1}, std::uint32_t{1},
                                           std::int64_t{1}, std::uint64_t{1},
                                           // texts and bags
                                           "1", "", variant_bag_t(), bag, renamed};
    for (std::size_t i = 0; i < different.size(); ++i) {
        for (std::size_t j = 0; j < different.size(); ++j) {
            EXPECT_EQ(different[i] == variant_t(different[j]), i == j) << i << " " << j;
        }
    }
}

TEST(VariantBag, HoldsNoEmptyValue) {
    variant_bag_t bag;
    bag.put("a", 1);
    bag.put("b", variant_t());
    EXPECT_EQ(bag.size(), 1U);
    bag.put("a", variant_t());
    EXPECT_TRUE(bag.empty());
}

TEST(VariantBag, KeepsTheOrderOfPutting) {
    variant_bag_t bag;
    for (const char* name : {"c", "a", "b"}) {
        bag.put(name, name);
    }
    bag.put("a", 5);
    EXPECT_THAT(namesOf(bag), ElementsAre("c", "a", "b"));
    EXPECT_TRUE(bag.remove("c"));
    EXPECT_FALSE(bag.remove("c"));
    bag.put("c", 1);
    EXPECT_THAT(namesOf(bag), ElementsAre("a", "b", "c"));
    EXPECT_EQ(bag.find("a")->to_int64(), 5);
    EXPECT_EQ(bag.get_variant("d", "fallback"), variant_t("fallback"));

    variant_bag_t other;
    for (const char* name : {"c", "b", "a"}) {
        other.put(name, bag.get_variant(name));
    }
    EXPECT_NE(bag, other);
}

TEST(VariantBag, ValuesStayWhereTheyAre) {
    variant_bag_t bag;
    bag.put("first", "text");
    const variant_t* value = bag.find("first");
    variant_bag_t* inner = &bag.put_bag("inner");
    for (int i = 0; i < 5000; ++i) {
        bag.put(std::to_string(i), i);
    }
    for (int i = 0; i < 5000; i += 2) {
        bag.remove(std::to_string(i));
    }
    EXPECT_EQ(bag.find("first"), value);
    EXPECT_EQ(bag.get_bag("inner"), inner);
    EXPECT_EQ(&bag.put_bag("inner"), inner);

    const variant_bag_t moved = std::move(bag);
    EXPECT_EQ(moved.find("first"), value);
    EXPECT_EQ(moved.get_bag("inner"), inner);
}

TEST(VariantBag, CopiesAreDeepAndMovesLeaveAUsableBag) {
    variant_bag_t bag;
    bag.put("a", "1");
    bag.put_bag("b").put("c", 2);

    variant_bag_t copy = bag;
    EXPECT_EQ(copy, bag);
    copy.put_bag("b").put("c", 3);
    copy.put("a", "changed");
    EXPECT_EQ(bag.get_bag("b")->get_variant("c").to_int64(), 2);
    EXPECT_EQ(*bag.find("a")->as_string(), "1");

    variant_bag_t moved = std::move(copy);
    EXPECT_TRUE(copy.empty());  // NOLINT: that it can be used again is what is tested
    copy.put("a", 1);
    EXPECT_THAT(namesOf(copy), ElementsAre("a"));
    EXPECT_EQ(moved.get_bag("b")->get_variant("c").to_int64(), 3);

    moved = bag;
    EXPECT_EQ(moved, bag);
    bag.clear();
    EXPECT_EQ(moved.get_bag("b")->get_variant("c").to_int64(), 2);
    moved.put("b", *moved.get_bag("b"));
    EXPECT_EQ(moved.get_bag("b")->get_variant("c").to_int64(), 2);
}

}  // namespace
