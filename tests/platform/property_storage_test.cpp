#include "optstore2/property_storage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using basekit2::sptr_t;
using basekit2::variant_bag_t;
using optstore2::IBagPropertyStorage;
using testing::ElementsAre;
using testing::IsEmpty;

/// Writes down what it is told.
class Listener final : public basekit2::ref_counted_t<optstore2::IPropertyStorageChangeListener2,
                                                      basekit2::mt_ref_count_impl_t> {
public:
    void propertyChanging(const char* path) override { note("changing ", path); }
    void propertyBagChanging(const char* path) override { note("bag changing ", path); }
    void propertyChanged(const char* path) override { note("changed ", path); }
    void propertyBagChanged(const char* path) override { note("bag changed ", path); }

    std::vector<std::string> takeNotes() { return std::exchange(m_notes, {}); }

private:
    void note(const std::string& what, const char* path) { m_notes.push_back(what + path); }

    std::vector<std::string> m_notes;
};

class PropertyStorage : public testing::Test {
protected:
    variant_bag_t m_bag;
    sptr_t<IBagPropertyStorage> m_storage = IBagPropertyStorage::create(&m_bag, nullptr);
    sptr_t<Listener> m_listener{new Listener};
};

TEST_F(PropertyStorage, TellsListenersBeforeAndAfter) {
    m_storage->addChangeListener(m_listener.get());
    m_storage->addChangeListener(m_listener.get());
    EXPECT_TRUE(m_storage->setProperty("a/b/c", 1));
    EXPECT_THAT(m_listener->takeNotes(), ElementsAre("changing a/b/c", "changed a/b/c"));
    EXPECT_TRUE(m_storage->setProperty("a/d", variant_bag_t()));
    EXPECT_THAT(m_listener->takeNotes(), ElementsAre("bag changing a/d", "bag changed a/d"));
    EXPECT_EQ(m_bag.get_bag("a")->get_bag("b")->get_variant("c").to_int64(), 1);

    EXPECT_TRUE(m_storage->removeProperty("a/b/c"));
    EXPECT_THAT(m_listener->takeNotes(), ElementsAre("changing a/b/c", "changed a/b/c"));
    EXPECT_TRUE(m_storage->removeProperty("a/b"));
    EXPECT_THAT(m_listener->takeNotes(), ElementsAre("bag changing a/b", "bag changed a/b"));
    EXPECT_FALSE(m_storage->removeProperty("a/b"));
    EXPECT_THAT(m_listener->takeNotes(), IsEmpty());
    EXPECT_FALSE(m_storage->hasProperty("a/b"));

    m_storage->removeChangeListener(m_listener.get());
    EXPECT_TRUE(m_storage->setProperty("a/e", 1));
    EXPECT_THAT(m_listener->takeNotes(), IsEmpty());
}

TEST_F(PropertyStorage, RefusesPathsThatCannotHold) {
    m_bag.put("value", 1);
    m_bag.put_bag("bag").put("inner", "text");
    const variant_bag_t before = m_bag;
    m_storage->addChangeListener(m_listener.get());
    for (const char* path : {"", "/", "/a", "a/", "a//b", "value/a", "bag/inner/a"}) {
        EXPECT_FALSE(m_storage->setProperty(path, 2)) << path;
        EXPECT_FALSE(m_storage->hasProperty(path)) << path;
        EXPECT_FALSE(m_storage->removeProperty(path)) << path;
        EXPECT_EQ(m_storage->getProperty(path, 5).to_int64(), 5) << path;
    }
    EXPECT_EQ(m_bag, before);
    EXPECT_THAT(m_listener->takeNotes(), IsEmpty());
    EXPECT_EQ(*m_storage->getProperty("bag/inner").as_string(), "text");
    EXPECT_TRUE(m_storage->setProperty("value", "now a text"));
    EXPECT_EQ(m_storage->getBag(), &m_bag);
}

TEST_F(PropertyStorage, IsEmptyOnceDetached) {
    m_bag.put("a", 1);
    m_storage->addChangeListener(m_listener.get());
    m_storage->detach();
    EXPECT_FALSE(m_storage->hasProperty("a"));
    EXPECT_FALSE(m_storage->setProperty("a", 2));
    EXPECT_FALSE(m_storage->removeProperty("a"));
    EXPECT_EQ(m_storage->getBag(), nullptr);
    EXPECT_EQ(m_bag.get_variant("a").to_int64(), 1);
    EXPECT_THAT(m_listener->takeNotes(), IsEmpty());
}

}  // namespace
