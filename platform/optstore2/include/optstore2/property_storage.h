#pragma once
/// A view over a bag that tells listeners what is changed through it.
///
/// A property is addressed by its path: the names of the bags that lead to it and its own, joined
/// by "/", as in "vesta/timestamp". A null path, or one with an empty name, is that of no property.
/// For one thread at a time.

#include "basekit2/export.h"
#include "basekit2/object.h"
#include "basekit2/variant.h"

namespace optstore2 {

/// Told of every change. A listener is not owned; it must be removed before it dies. While it is
/// told it may add and remove listeners, itself too: one that was removed is told nothing more, one
/// that was added hears of the next call. It may also change properties, detach or let go of the
/// storage.
class BASEKIT2_API IPropertyStorageChangeListener2 : public basekit2::object_interface_t {
public:
    /// A value is about to be put or removed.
    virtual void propertyChanging(const char* path) = 0;
    /// A whole bag is about to be put or removed.
    virtual void propertyBagChanging(const char* path) = 0;
    virtual void propertyChanged(const char* path) = 0;
    virtual void propertyBagChanged(const char* path) = 0;
};

class BASEKIT2_API IBagPropertyStorage : public basekit2::object_interface_t {
public:
    /// A view over `*bag`, which must live as long as the view or until `detach`. `owner`, when not
    /// empty, is held as long as the view lives.
    static basekit2::sptr_t<IBagPropertyStorage>
    create(basekit2::variant_bag_t* bag, basekit2::sptr_t<basekit2::object_interface_t> owner);

    [[nodiscard]] virtual bool hasProperty(const char* path) const = 0;
    /// The value, or `fallback` when there is none.
    [[nodiscard]] virtual basekit2::variant_t
    getProperty(const char* path,
                const basekit2::variant_t& fallback = basekit2::variant_t()) const = 0;
    /// Puts the value, and the bags that lead to it where they are missing. A bag as the value is
    /// reported to the listeners as a bag. An empty value removes the property. False, and nothing
    /// changed, when a name on the way is taken by something that is no bag, when the path is of no
    /// property, or when the view is detached, be it by a listener that was told of the change.
    virtual bool setProperty(const char* path, const basekit2::variant_t& value) = 0;
    /// Whether there was such a property to remove.
    virtual bool removeProperty(const char* path) = 0;
    /// The whole bag, to look at. Null when the view is detached; valid as long as the bag lives.
    [[nodiscard]] virtual const basekit2::variant_bag_t* getBag() const = 0;

    /// A listener that is already registered is not registered again; nor is null.
    virtual void addChangeListener(IPropertyStorageChangeListener2* listener) = 0;
    virtual void removeChangeListener(IPropertyStorageChangeListener2* listener) = 0;

    /// Lets go of the bag, which is about to die: from now on the view is empty and refuses
    /// changes.
    virtual void detach() = 0;
};

}  // namespace optstore2
