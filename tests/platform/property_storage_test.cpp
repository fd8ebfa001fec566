#include "optstore2/property_storage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
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
    void propertyChanging(const char* path) override {
        note("changing ", path);
        if (const std::function<void()> act = std::exchange(m_act, {})) {
            act();
        }
    }
    void propertyBagChanging(const char* path) override { note("bag changing ", path); }
    void propertyChanged(const char* path) override { note("changed ", path); }
    void propertyBagChanged(const char* path) override { note("bag changed ", path); }

    std::vector<std::string> takeNotes() { return std::exchange(m_notes, {}); }
    /// What to do at the next change of a property.
    void plan(std::function<void()> act) { m_act = std::move(act); }

private:
    void note(const std::string& what, const char* path) { m_notes.push_back(what + path); }

    std::vector<std::string> m_notes;
    std::function<void()> m_act;
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

    EXPECT_TRUE(m_storage->setProperty("a/d", {}));
    EXPECT_THAT(m_listener->takeNotes(), ElementsAre("bag changing a/d", "bag changed a/d"));
    EXPECT_TRUE(m_storage->setProperty("x/y", {}));
    EXPECT_EQ(m_bag.size(), 1U);

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
    EXPECT_FALSE(m_storage->setProperty(nullptr, 2) || m_storage->hasProperty(nullptr) ||
                 m_storage->removeProperty(nullptr));
    EXPECT_EQ(m_storage->getProperty(nullptr, 5).to_int64(), 5);
    EXPECT_EQ(m_bag, before);
    EXPECT_THAT(m_listener->takeNotes(), IsEmpty());
    EXPECT_EQ(*m_storage->getProperty("bag/inner").as_string(), "text");
    EXPECT_TRUE(m_storage->setProperty("value", "now a text"));
    EXPECT_EQ(m_storage->getBag(), &m_bag);
}

TEST_F(PropertyStorage, ListenersComeAndGoWhileTheyAreTold) {
    const std::vector<std::string> both{"changing a", "changed a"};
    std::vector<sptr_t<Listener>> listeners;
    for (int i = 0; i < 8; ++i) {
        listeners.emplace_back(new Listener);
        m_storage->addChangeListener(listeners.back().get());
    }
    m_storage->addChangeListener(nullptr);
    // The first goes, takes the third with it, which dies, and brings another one.
    listeners[0]->plan([&] {
        m_storage->removeChangeListener(listeners[0].get());
        m_storage->removeChangeListener(listeners[2].get());
        listeners[2].reset();
        m_storage->addChangeListener(m_listener.get());
    });
    EXPECT_TRUE(m_storage->setProperty("a", 1));
    EXPECT_THAT(listeners[0]->takeNotes(), ElementsAre("changing a"));
    for (const int stays : {1, 3, 4, 5, 6, 7}) {
        EXPECT_EQ(listeners[static_cast<std::size_t>(stays)]->takeNotes(), both) << stays;
    }
    EXPECT_THAT(m_listener->takeNotes(), ElementsAre("changed a"));
}

TEST_F(PropertyStorage, ListenersMayTakeAwayWhatIsChanged) {
    m_bag.put_bag("bag").put("a", 1);
    m_storage->addChangeListener(m_listener.get());
    const auto planRemoval = [&](const char* path, std::function<void()> act) {
        m_bag.put_bag("bag").put("a", 1);
        m_listener->plan(std::move(act));
        return m_storage->removeProperty(path);
    };
    EXPECT_FALSE(planRemoval("bag/a", [this] { m_bag.remove("bag"); }));
    EXPECT_FALSE(planRemoval("bag/a", [this] { m_bag.put("bag", 1); }));
    m_bag.clear();
    m_listener->plan([this] { m_bag.put("bag", 1); });
    EXPECT_FALSE(m_storage->setProperty("bag/a", 2));
    EXPECT_TRUE(planRemoval("bag/a", [this] { m_storage->setProperty("bag/b", 2); }));
    m_bag.clear();
    EXPECT_FALSE(planRemoval("bag/a", [this] {
        m_storage->detach();
        m_storage.reset();
    }));
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
