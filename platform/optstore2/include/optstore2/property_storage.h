#pragma once
/// A view over a bag that tells listeners what is changed through it.
///
/// A view, its bag and its listeners are for one thread at a time.
///
/// A property is addressed by its path: the names of the bags that lead to it and its own, joined
/// by "/", as in "vesta/timestamp". A null path, or one with an empty name, is that of no property.

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
    /// A value was put or removed.
    virtual void propertyChanged(const char* path) = 0;
    /// A whole bag was put or removed.
    virtual void propertyBagChanged(const char* path) = 0;
};

/// The view. Paths and listeners may be null: no property has that path, and no listener is added.
class BASEKIT2_API IBagPropertyStorage : public basekit2::object_interface_t {
public:
    /// Makes a view over `*bag`, which must live as long as the view or until `detach`. `owner`,
    /// when not empty, is held as long as the view lives.
    /// Returns: the view, never empty.
    static basekit2::sptr_t<IBagPropertyStorage>
    create(basekit2::variant_bag_t* bag, basekit2::sptr_t<basekit2::object_interface_t> owner);

    /// Returns: whether there is such a property, be it a bag.
    [[nodiscard]] virtual bool hasProperty(const char* path) const = 0;
    /// Returns: a copy of the value, or of `fallback` when there is none.
    [[nodiscard]] virtual basekit2::variant_t
    getProperty(const char* path,
                const basekit2::variant_t& fallback = basekit2::variant_t()) const = 0;
    /// Puts the value, and the bags that lead to it where they are missing. A bag as the value is
    /// reported to the listeners as a bag. An empty value removes the property.
    /// Returns: false, with nothing changed, when a name on the way is taken by something that is
    /// no bag, when the path is of no property, or when the view is detached, be it by a listener
    /// that was told of the change.
    virtual bool setProperty(const char* path, const basekit2::variant_t& value) = 0;
    /// Removes a value or a bag.
    /// Returns: whether there was such a property.
    virtual bool removeProperty(const char* path) = 0;
    /// Returns: the whole bag, to look at; null when the view is detached. Lifetime: of the bag.
    [[nodiscard]] virtual const basekit2::variant_bag_t* getBag() const = 0;

    /// Registers a listener, once, however often it is added.
    virtual void addChangeListener(IPropertyStorageChangeListener2* listener) = 0;
    /// Forgets a listener; one that is not registered is none.
    virtual void removeChangeListener(IPropertyStorageChangeListener2* listener) = 0;

    /// Forgets the bag, which is about to die, and all listeners: from now on the view is empty and
    /// refuses changes.
    virtual void detach() = 0;
};

}  // namespace optstore2
