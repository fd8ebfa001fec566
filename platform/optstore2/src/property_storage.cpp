#include "optstore2/property_storage.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace optstore2 {
namespace {

using basekit2::object_interface_t;
using basekit2::sptr_t;
using basekit2::variant_bag_t;
using basekit2::variant_t;

/// Removes the first name from `path`, which still has another one behind it.
std::string_view nextName(std::string_view& path) {
    const std::size_t slash = path.find('/');
    const std::string_view name = path.substr(0, slash);
    path.remove_prefix(slash + 1);
    return name;
}

/// A null path is no path.
std::string_view textOf(const char* path) { return path ? path : ""; }

bool isComplete(std::string_view path) {
    return !path.empty() && path.front() != '/' && path.back() != '/' &&
           path.find("//") == std::string_view::npos;
}

class BagPropertyStorage final
    : public basekit2::ref_counted_t<IBagPropertyStorage, basekit2::mt_ref_count_impl_t> {
public:
    BagPropertyStorage(variant_bag_t* bag, sptr_t<object_interface_t> owner)
        : m_bag(bag), m_owner(std::move(owner)) {}

    [[nodiscard]] bool hasProperty(const char* path) const override { return find(textOf(path)); }

    [[nodiscard]] variant_t getProperty(const char* path,
                                        const variant_t& fallback) const override {
        const variant_t* value = find(textOf(path));
        return value ? *value : fallback;
    }

    bool setProperty(const char* path, const variant_t& value) override {
        std::string_view rest = textOf(path);
        if (!canHold(rest)) {
            return false;
        }
        if (value.empty()) {
            removeProperty(path);
            return true;
        }
        const sptr_t<BagPropertyStorage> alive(this);
        const bool isBag = value.as_bag() != nullptr;
        announce(isBag, path);
        if (!canHold(rest)) {
            return false;
        }
        variant_bag_t* bag = m_bag;
        while (rest.find('/') != std::string_view::npos) {
            bag = &bag->put_bag(nextName(rest));
        }
        bag->put(rest, value);
        report(isBag, path);
        return true;
    }

    bool removeProperty(const char* path) override {
        std::string_view rest = textOf(path);
        const variant_t* value = find(rest);
        if (!value) {
            return false;
        }
        const sptr_t<BagPropertyStorage> alive(this);
        const bool isBag = value->as_bag() != nullptr;
        announce(isBag, path);
        if (!find(rest)) {
            return false;
        }
        variant_bag_t* bag = m_bag;
        while (rest.find('/') != std::string_view::npos) {
            bag = bag->get_bag(nextName(rest));
        }
        bag->remove(rest);
        report(isBag, path);
        return true;
    }

    [[nodiscard]] const variant_bag_t* getBag() const override { return m_bag; }

    void addChangeListener(IPropertyStorageChangeListener2* listener) override {
        if (listener && !isRegistered(listener)) {
            m_listeners.push_back(listener);
        }
    }

    void removeChangeListener(IPropertyStorageChangeListener2* listener) override {
        m_listeners.erase(std::remove(m_listeners.begin(), m_listeners.end(), listener),
                          m_listeners.end());
    }

    void detach() override {
        m_bag = nullptr;
        m_listeners.clear();
    }

private:
    [[nodiscard]] const variant_t* find(std::string_view path) const {
        if (!m_bag || !isComplete(path)) {
            return nullptr;
        }
        const variant_bag_t* bag = m_bag;
        while (bag && path.find('/') != std::string_view::npos) {
            bag = bag->get_bag(nextName(path));
        }
        return bag ? bag->find(path) : nullptr;
    }

    /// Whether a value can be put: every name on the way is free or a bag.
    [[nodiscard]] bool canHold(std::string_view path) const {
        if (!m_bag || !isComplete(path)) {
            return false;
        }
        const variant_bag_t* bag = m_bag;
        while (bag && path.find('/') != std::string_view::npos) {
            const variant_t* value = bag->find(nextName(path));
            if (value && !value->as_bag()) {
                return false;
            }
            bag = value ? value->as_bag() : nullptr;
        }
        return true;
    }

    [[nodiscard]] bool isRegistered(const IPropertyStorageChangeListener2* listener) const {
        return std::find(m_listeners.begin(), m_listeners.end(), listener) != m_listeners.end();
    }

    /// A listener may remove and add listeners, itself too, and detach or let go of the storage:
    /// who is told is settled at the start, and who was removed meanwhile is passed over.
    template <class Tell>
    void tellListeners(Tell tell) const {
        const std::vector<IPropertyStorageChangeListener2*> listeners = m_listeners;
        for (IPropertyStorageChangeListener2* listener : listeners) {
            if (isRegistered(listener)) {
                tell(*listener);
            }
        }
    }

    void announce(bool isBag, const char* path) const {
        tellListeners([=](IPropertyStorageChangeListener2& listener) {
            isBag ? listener.propertyBagChanging(path) : listener.propertyChanging(path);
        });
    }

    void report(bool isBag, const char* path) const {
        tellListeners([=](IPropertyStorageChangeListener2& listener) {
            isBag ? listener.propertyBagChanged(path) : listener.propertyChanged(path);
        });
    }

    variant_bag_t* m_bag;
    sptr_t<object_interface_t> m_owner;
    std::vector<IPropertyStorageChangeListener2*> m_listeners;
};

}  // namespace

sptr_t<IBagPropertyStorage> IBagPropertyStorage::create(variant_bag_t* bag,
                                                        sptr_t<object_interface_t> owner) {
    return sptr_t<IBagPropertyStorage>(new BagPropertyStorage(bag, std::move(owner)));
}

}  // namespace optstore2
