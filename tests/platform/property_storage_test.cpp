#include "optstore2/property_storage.h"

#include "support/test.h"

namespace {

using basekit2::sptr_t;
using basekit2::variant_bag_t;
using optstore2::IBagPropertyStorage;

/// Writes down what it is told.
class Listener final : public basekit2::ref_counted_t<optstore2::IPropertyStorageChangeListener2,
                                                      basekit2::mt_ref_count_impl_t> {
public:
    void propertyChanging(const char* path) override {
        m_notes.append(">").append(path);
        if (const std::function<void()> act = std::exchange(m_act, {})) {
            act();
        }
    }
    void propertyBagChanging(const char* path) override { m_notes.append("bag>").append(path); }
    void propertyChanged(const char* path) override { m_notes.append(" ").append(path); }
    void propertyBagChanged(const char* path) override { m_notes.append(" ").append(path); }

    /// A change reads ">path path", or "bag>path path".
    std::string takeNotes() { return std::exchange(m_notes, {}); }
    /// What to do at the next change of a property.
    void plan(std::function<void()> act) { m_act = std::move(act); }

private:
    std::string m_notes;
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
    EXPECT_EQ(m_listener->takeNotes(), ">a/b/c a/b/c");
    EXPECT_EQ(m_bag.get_bag("a")->get_bag("b")->get_variant("c").to_int64(), 1);
    EXPECT_TRUE(m_storage->setProperty("a/d", variant_bag_t()));
    EXPECT_EQ(m_listener->takeNotes(), "bag>a/d a/d");
    EXPECT_TRUE(m_storage->removeProperty("a/b/c"));
    EXPECT_EQ(m_listener->takeNotes(), ">a/b/c a/b/c");
    EXPECT_TRUE(m_storage->removeProperty("a/b"));
    EXPECT_FALSE(m_storage->removeProperty("a/b") || m_storage->hasProperty("a/b"));
    EXPECT_TRUE(m_storage->setProperty("a/d", {}));
    EXPECT_TRUE(m_storage->setProperty("x/y", {})) << "there is none to remove";
    EXPECT_EQ(m_listener->takeNotes(), "bag>a/b a/bbag>a/d a/d");
    EXPECT_EQ(m_bag.size(), 1U);

    m_storage->removeChangeListener(m_listener.get());
    EXPECT_TRUE(m_storage->setProperty("a/e", 1));
    m_storage->addChangeListener(m_listener.get());
    m_storage->detach();
    EXPECT_FALSE(m_storage->hasProperty("a/e") || m_storage->setProperty("a/e", 2) ||
                 m_storage->removeProperty("a/e") || m_storage->getBag());
    EXPECT_EQ(m_listener->takeNotes(), "");
}

TEST_F(PropertyStorage, RefusesPathsThatCannotHold) {
    m_bag.put("value", 1);
    m_bag.put_bag("bag").put("inner", "text");
    const variant_bag_t before = m_bag;
    m_storage->addChangeListener(m_listener.get());
    for (const char* path : {static_cast<const char*>(nullptr), "", "/", "/a", "a/", "a//b",
                             // below what is no bag
                             "value/a", "bag/inner/a"}) {
        EXPECT_FALSE(m_storage->setProperty(path, 2) || m_storage->hasProperty(path) ||
                     m_storage->removeProperty(path))
            << testing::PrintToString(path);
        EXPECT_EQ(m_storage->getProperty(path, 5).to_int64(), 5);
    }
    EXPECT_EQ(m_bag, before);
    EXPECT_EQ(m_listener->takeNotes(), "");
}

TEST_F(PropertyStorage, ListenersComeAndGoWhileTheyAreTold) {
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
    EXPECT_EQ(listeners[0]->takeNotes(), ">a");
    for (const std::size_t stays : {1U, 3U, 4U, 5U, 6U, 7U}) {
        EXPECT_EQ(listeners[stays]->takeNotes(), ">a a") << stays;
    }
    EXPECT_EQ(m_listener->takeNotes(), " a");
}

TEST_F(PropertyStorage, ListenersMayTakeAwayWhatIsChanged) {
    m_storage->addChangeListener(m_listener.get());
    const auto removes = [&](std::function<void()> act) {
        m_bag.clear();
        m_bag.put_bag("bag").put("a", 1);
        m_listener->plan(std::move(act));
        return m_storage->removeProperty("bag/a");
    };
    EXPECT_FALSE(removes([this] { m_bag.remove("bag"); }));
    EXPECT_FALSE(removes([this] { m_bag.put("bag", 1); }));
    m_bag.clear();
    m_listener->plan([this] { m_bag.put("bag", 1); });
    EXPECT_FALSE(m_storage->setProperty("bag/a", 2));
    EXPECT_TRUE(removes([this] { m_storage->setProperty("bag/b", 2); }));
    EXPECT_FALSE(removes([this] {
        m_storage->detach();
        m_storage.reset();
    }));
}

}  // namespace
